// The example bridge that every file of examples/ describes: a design space of hexahedra
// (800 x 80 x 240 mm) on two knife-edge bearings of wedges, carrying a deck of shells, and a
// topology optimisation that carves a truss out of the design space over 45 iterations.
// The model, its groups, the result file and the modification file are all made from this one
// description, so that ids, positions and values agree from file to file.
#pragma once

#include <string>
#include <vector>

namespace onf_examples {

struct Point {
    double x = 0, y = 0, z = 0;
};

// Dimensions in millimetres, and the number of hexahedra along each axis.
constexpr double kLength = 800.0;
constexpr double kWidth = 80.0;
constexpr double kHeight = 240.0;
constexpr double kBearingDepth = 20.0;
constexpr int kNx = 40;
constexpr int kNy = 4;
constexpr int kNz = 12;

// Property and material ids of the model.
enum PartId { PART_DESIGN = 1, PART_DECK = 2, PART_BEARING = 3 };
enum MaterialId { MAT_STEEL = 1, MAT_ELASTOMER = 2, MAT_CFRP = 3 };

// The element kinds the bridge uses, with the model's numbers.
enum Kind { KIND_HEXA8 = 3, KIND_PENTA6 = 5, KIND_SHELL_TRIA3 = 10, KIND_SHELL_QUAD4 = 12 };

struct MeshNode {
    int id;
    Point position;
};

struct MeshElement {
    int id;
    Kind kind;
    PartId part;
    std::vector<int> nodes;
};

// Nodes and elements in the order the model file lists them, and the sets the loads,
// constraints and groups are made of (ids, ascending).
class BridgeMesh {
public:
    BridgeMesh();

    const std::vector<MeshNode>& GetNodes() const { return m_Nodes; }
    const std::vector<MeshElement>& GetElements() const { return m_Elements; }
    // The node of the design space's grid point (i, j, k), 0 <= i <= kNx and so on.
    static int BoxNode(int i, int j, int k);
    const Point& PositionOf(int node) const;
    Point CentroidOf(const MeshElement& element) const;

    std::vector<int> leftApex, rightApex; // the bearings' knife edges, along y
    int loadPoint = 0;                    // above the deck's centre, tied to it by a rigid element
    std::vector<int> deckNodes;           // the top face of the design space
    std::vector<int> trafficNodes;        // deck nodes of the middle half of the span
    std::vector<int> loadPatchNodes;      // deck nodes under the load point
    std::vector<int> designElements, deckElements, trafficElements, bearingElements;

private:
    void AddBox();
    void AddDeck();
    void AddBearing(int firstNode, int firstElement, double apexX, int i0);
    void AddNode(int id, double x, double y, double z);

    std::vector<MeshNode> m_Nodes;
    std::vector<MeshElement> m_Elements;
    std::vector<int> m_NodeIndex; // by node id: index into m_Nodes, -1 for none
};

// The design iterations the result file holds, ascending.
const std::vector<int>& Iterations();
// The relative density of the design space at (x, z) in an iteration: uniform at iteration 0,
// a truss of chords and diagonals at the end.
double Density(int iteration, const Point& at);
// The displacement under the traffic load in an iteration: the deflection shrinks as the
// material moves into the truss.
Point Displacement(int iteration, const Point& at);
// Compliance of the traffic loadcase in an iteration, N mm.
double Compliance(int iteration);
// The von Mises stress at a node in the last iteration, MPa.
double VonMisesStress(const Point& at);
// The total traffic load, N.
constexpr double kTrafficLoad = 40000.0;
// Relative density from which an element is deleted, and up to which it keeps its material.
constexpr double kVoidDensity = 0.02;
constexpr double kSolidDensity = 0.98;
constexpr double kVolumeFraction = 0.35;

} // namespace onf_examples
