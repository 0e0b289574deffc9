"""Conversion between ONF model files and the formats meshio reads and writes."""

import os

import meshio

from . import _abaqus, _gmsh
from ._files import read_groups, read_results
from ._model import read_model
from .meshio_format import from_meshio, to_meshio

# Formats whose files hold named sets of points and cells. For the others a mesh carries its
# groups as "onf:group:" data only: meshio would fold overlapping sets into one array there.
_SET_FORMATS = {"abaqus", "exodus", "flac3d", "onf"}


def format_of(path, given=None):
    """The meshio format name of `path`: `given`, else by its extension, "onf" for ".onf". An
    extension two formats share is read as the more common one (".msh" is Gmsh's)."""
    if given:
        return given
    path = os.fsdecode(path)
    extension = os.path.splitext(path)[1].lower()
    formats = meshio.extension_to_filetypes.get(extension, [])
    if not formats:
        raise ValueError("the format of '%s' is not known by its extension; name it" % path)
    return "gmsh" if "gmsh" in formats else formats[0]


def _read_mesh(path, file_format, groups, results, iterations, sets):
    if file_format == "onf":
        model = read_model(path)
        return to_meshio(model, read_groups(groups) if groups else None,
                         read_results(results) if results else None, iterations, sets)
    if groups or results:
        raise ValueError("groups and results files go with an ONF model as input")
    mesh = meshio.read(path, file_format=file_format)
    if file_format == "abaqus":
        _abaqus.read_ids(path, mesh)
    return mesh


def _copy_model(source, target, groups, results):
    """An ONF model written anew, every block kept, with the groups of `groups` added."""
    if results:
        raise ValueError("a model file holds no results; convert to a mesh format to keep them")
    model = read_model(source)
    if groups:
        extra = read_groups(groups)
        model.set_groups({**model.node_groups, **extra.nodes},
                         {**model.element_groups, **extra.elements})
    model.write(target)


def convert(source, target, groups=None, results=None, source_format=None, target_format=None,
            iterations="last"):
    """Converts the mesh or model at `source` into `target`, formats by extension unless given.
    An ONF model comes with the groups it holds and those of the groups file `groups`, and with
    the fields of the result file `results` (which only a mesh format can hold). Ids and groups
    stay where the target can hold them; an ONF target holds the groups in the model file."""
    source_format = format_of(source, source_format)
    target_format = format_of(target, target_format)
    if source_format == target_format == "onf":
        _copy_model(source, target, groups, results)
        return
    mesh = _read_mesh(source, source_format, groups, results, iterations,
                      target_format in _SET_FORMATS)
    if target_format == "onf":
        from_meshio(mesh).write(target)
        return
    if target_format not in _SET_FORMATS:
        mesh.point_sets, mesh.cell_sets = {}, {}
    if target_format == "gmsh":
        _gmsh.add_entities(mesh)
    meshio.write(target, mesh, file_format=target_format)
    if target_format == "abaqus":
        _abaqus.write_model_file(target, mesh)
