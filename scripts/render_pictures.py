#!/usr/bin/python3
"""Renders the README's pictures of the example bridge with VTK.

Usage: render_pictures.py MODEL.vtu LAST_ITERATION.vtu OUT_FOLDER

MODEL.vtu is the model as `onf export` writes it; LAST_ITERATION.vtu the last step of
`onf export --series`. Writes OUT_FOLDER/bridge_model.png (the model, coloured by property) and
OUT_FOLDER/bridge_density.png (the design space's density in the last iteration, void elements
left out, the deck and bearings in grey). Needs Debian's python3-vtk9 and an X display: run it
under `xvfb-run -a` where there is none.
"""
import os
import sys

import vtkmodules.vtkRenderingOpenGL2  # noqa: F401  (the render window's implementation)
from vtkmodules.vtkCommonCore import vtkLookupTable
from vtkmodules.vtkCommonDataModel import vtkDataObject
from vtkmodules.vtkFiltersCore import vtkThreshold
from vtkmodules.vtkFiltersGeometry import vtkGeometryFilter
from vtkmodules.vtkIOImage import vtkPNGWriter
from vtkmodules.vtkIOXML import vtkXMLUnstructuredGridReader
from vtkmodules.vtkRenderingAnnotation import vtkScalarBarActor
from vtkmodules.vtkRenderingCore import (vtkActor, vtkDataSetMapper, vtkRenderer,
                                         vtkRenderWindow, vtkTextActor, vtkWindowToImageFilter)

WIDTH, HEIGHT = 1200, 560
# Property ids of the bridge and their colours: design space, deck, bearings.
PROPERTY_COLOURS = {1: (0.55, 0.62, 0.72), 2: (0.90, 0.62, 0.20), 3: (0.35, 0.55, 0.35)}
PROPERTY_NAMES = {1: "design space (hexahedra)", 2: "deck (shells)", 3: "bearings (wedges)"}


def read(path):
    reader = vtkXMLUnstructuredGridReader()
    reader.SetFileName(path)
    reader.Update()
    grid = reader.GetOutput()
    if grid.GetNumberOfCells() == 0:
        sys.exit(f"render_pictures.py: {path} holds no cell")
    return grid


def cells_where(grid, array, low, high):
    """The cells whose cell array `array` lies in [low, high]."""
    threshold = vtkThreshold()
    threshold.SetInputData(grid)
    threshold.SetInputArrayToProcess(0, 0, 0, vtkDataObject.FIELD_ASSOCIATION_CELLS, array)
    threshold.SetLowerThreshold(low)
    threshold.SetUpperThreshold(high)
    threshold.SetThresholdFunction(vtkThreshold.THRESHOLD_BETWEEN)
    threshold.Update()
    return threshold.GetOutput()


def actor_of(data, colour=None, array=None, table=None, edges=True, opacity=1.0, on_top=False):
    surface = vtkGeometryFilter()
    surface.SetInputData(data)
    mapper = vtkDataSetMapper()
    mapper.SetInputConnection(surface.GetOutputPort())
    if on_top:  # shells lying on solid faces: drawn over them, not through them
        mapper.SetResolveCoincidentTopologyToPolygonOffset()
        mapper.SetRelativeCoincidentTopologyPolygonOffsetParameters(-4, -4)
    if array:
        mapper.SetScalarModeToUseCellFieldData()
        mapper.SelectColorArray(array)
        mapper.SetLookupTable(table)
        mapper.SetScalarRange(table.GetRange())
        mapper.ScalarVisibilityOn()
    else:
        mapper.ScalarVisibilityOff()
    actor = vtkActor()
    actor.SetMapper(mapper)
    prop = actor.GetProperty()
    if colour:
        prop.SetColor(*colour)
    prop.SetOpacity(opacity)
    if edges:
        prop.EdgeVisibilityOn()
        prop.SetEdgeColor(0.15, 0.15, 0.15)
        prop.SetLineWidth(0.6)
    return actor


def caption(text, x, y, size=20):
    actor = vtkTextActor()
    actor.SetInput(text)
    actor.SetDisplayPosition(x, y)
    actor.GetTextProperty().SetFontSize(size)
    actor.GetTextProperty().SetColor(0.1, 0.1, 0.1)
    return actor


def render(actors, path):
    renderer = vtkRenderer()
    renderer.SetBackground(1.0, 1.0, 1.0)
    for actor in actors:
        if actor.IsA("vtkActor2D"):
            renderer.AddViewProp(actor)
        else:
            renderer.AddActor(actor)
    camera = renderer.GetActiveCamera()
    camera.SetViewUp(0, 0, 1)
    camera.SetPosition(-0.4, -1.0, 0.75)
    camera.SetFocalPoint(0, 0, 0)
    renderer.ResetCamera()
    camera.Zoom(1.45)
    window = vtkRenderWindow()
    window.SetOffScreenRendering(1)
    window.SetSize(WIDTH, HEIGHT)
    window.AddRenderer(renderer)
    window.Render()
    image = vtkWindowToImageFilter()
    image.SetInput(window)
    image.ReadFrontBufferOff()
    image.Update()
    writer = vtkPNGWriter()
    writer.SetFileName(path)
    writer.SetInputConnection(image.GetOutputPort())
    writer.Write()


def model_picture(model, path):
    actors = []
    for number, colour in PROPERTY_COLOURS.items():
        part = cells_where(model, "PropertyId", number, number)
        if part.GetNumberOfCells() > 0:
            actors.append(actor_of(part, colour, on_top=number == 2))
    actors.append(caption("Example bridge by property", 20, HEIGHT - 40, 24))
    for row, (number, colour) in enumerate(PROPERTY_COLOURS.items()):
        text = caption("\u25a0 " + PROPERTY_NAMES[number], 20, 20 + 28 * row)
        text.GetTextProperty().SetColor(*colour)
        actors.append(text)
    render(actors, path)


# A perceptually even ramp from dark blue through green to yellow.
RAMP = [(0.267, 0.005, 0.329), (0.230, 0.322, 0.546), (0.128, 0.567, 0.551),
        (0.369, 0.789, 0.383), (0.993, 0.906, 0.144)]


def density_table():
    table = vtkLookupTable()
    table.SetRange(0.3, 1.0)
    table.SetNumberOfTableValues(256)
    for i in range(256):
        t = i / 255 * (len(RAMP) - 1)
        k = min(int(t), len(RAMP) - 2)
        f = t - k
        table.SetTableValue(i, *[(1 - f) * a + f * b for a, b in zip(RAMP[k], RAMP[k + 1])], 1.0)
    return table


def density_picture(step, path):
    table = density_table()
    design = cells_where(step, "valid:Density", 1, 1)
    solid = cells_where(design, "Density", 0.3, 1.0)
    rest = cells_where(step, "valid:Density", 0, 0)
    actors = [actor_of(solid, array="Density", table=table, edges=False),
              actor_of(rest, colour=(0.8, 0.8, 0.8), opacity=0.35)]
    bar = vtkScalarBarActor()
    bar.SetLookupTable(table)
    bar.SetTitle("Density")
    bar.SetNumberOfLabels(5)
    bar.SetPosition(0.9, 0.15)
    bar.SetWidth(0.07)
    bar.SetHeight(0.7)
    for text in (bar.GetTitleTextProperty(), bar.GetLabelTextProperty()):
        text.SetColor(0.1, 0.1, 0.1)
    actors.append(bar)
    actors.append(caption("Density of the last iteration (elements above 0.3)", 20, HEIGHT - 40,
                          24))
    render(actors, path)


def main():
    if len(sys.argv) != 4:
        sys.exit(__doc__)
    model_vtu, step_vtu, out = sys.argv[1:]
    model_picture(read(model_vtu), os.path.join(out, "bridge_model.png"))
    density_picture(read(step_vtu), os.path.join(out, "bridge_density.png"))


if __name__ == "__main__":
    main()
