#include "bridge.h"

#include <algorithm>
#include <cmath>
#include <stdexcept>

namespace onf_examples {

namespace {

const double kPi = 3.14159265358979323846;
const double kDx = kLength / kNx;
const double kDy = kWidth / kNy;
const double kDz = kHeight / kNz;

// Ids by part, with gaps between the parts as solver decks number them.
const int kLeftApexFirst = 5001;
const int kRightApexFirst = 5101;
const int kLoadPoint = 6001;
const int kDeckQuadFirst = 3001;
const int kDeckTriaFirst = 3501;
const int kLeftBearingFirst = 4001;
const int kRightBearingFirst = 4011;

} // namespace

int BridgeMesh::BoxNode(int i, int j, int k) {
    return 1 + i + (kNx + 1) * (j + (kNy + 1) * k);
}

BridgeMesh::BridgeMesh() {
    AddBox();
    AddBearing(kLeftApexFirst, kLeftBearingFirst, kDx / 2, 0);
    AddBearing(kRightApexFirst, kRightBearingFirst, kLength - kDx / 2, kNx - 1);
    AddNode(kLoadPoint, kLength / 2, kWidth / 2, kHeight + 60.0);
    loadPoint = kLoadPoint;
    AddDeck();
    for (int id = kLeftApexFirst; id < kLeftApexFirst + kNy + 1; ++id) {
        leftApex.push_back(id);
        rightApex.push_back(id - kLeftApexFirst + kRightApexFirst);
    }
}

void BridgeMesh::AddNode(int id, double x, double y, double z) {
    if (static_cast<size_t>(id) >= m_NodeIndex.size()) {
        m_NodeIndex.resize(static_cast<size_t>(id) + 1, -1);
    }
    m_NodeIndex[static_cast<size_t>(id)] = static_cast<int>(m_Nodes.size());
    m_Nodes.push_back({id, {x, y, z}});
}

const Point& BridgeMesh::PositionOf(int node) const {
    if (node < 0 || static_cast<size_t>(node) >= m_NodeIndex.size() || m_NodeIndex[node] < 0) {
        throw std::out_of_range("no node " + std::to_string(node) + " in the bridge");
    }
    return m_Nodes[static_cast<size_t>(m_NodeIndex[node])].position;
}

Point BridgeMesh::CentroidOf(const MeshElement& element) const {
    Point sum;
    for (const int node : element.nodes) {
        const Point& p = PositionOf(node);
        sum.x += p.x;
        sum.y += p.y;
        sum.z += p.z;
    }
    const double n = static_cast<double>(element.nodes.size());
    return {sum.x / n, sum.y / n, sum.z / n};
}

// Hexahedra list their bottom face counter-clockwise seen from above, then the top face.
void BridgeMesh::AddBox() {
    for (int k = 0; k <= kNz; ++k) {
        for (int j = 0; j <= kNy; ++j) {
            for (int i = 0; i <= kNx; ++i) {
                AddNode(BoxNode(i, j, k), i * kDx, j * kDy, k * kDz);
            }
        }
    }
    int id = 1;
    for (int k = 0; k < kNz; ++k) {
        for (int j = 0; j < kNy; ++j) {
            for (int i = 0; i < kNx; ++i) {
                std::vector<int> nodes;
                for (int layer = k; layer <= k + 1; ++layer) {
                    nodes.insert(nodes.end(),
                                 {BoxNode(i, j, layer), BoxNode(i + 1, j, layer),
                                  BoxNode(i + 1, j + 1, layer), BoxNode(i, j + 1, layer)});
                }
                designElements.push_back(id);
                m_Elements.push_back({id++, KIND_HEXA8, PART_DESIGN, nodes});
            }
        }
    }
}

// The deck covers the top face: quadrilaterals, split into two triangles over the bearings
// where the deck's edge is chamfered.
void BridgeMesh::AddDeck() {
    int tria = kDeckTriaFirst;
    for (int j = 0; j < kNy; ++j) {
        for (int i = 0; i < kNx; ++i) {
            const int a = BoxNode(i, j, kNz);
            const int b = BoxNode(i + 1, j, kNz);
            const int c = BoxNode(i + 1, j + 1, kNz);
            const int d = BoxNode(i, j + 1, kNz);
            std::vector<MeshElement> cells;
            if (i == 0 || i == kNx - 1) {
                cells.push_back({tria++, KIND_SHELL_TRIA3, PART_DECK, {a, b, c}});
                cells.push_back({tria++, KIND_SHELL_TRIA3, PART_DECK, {a, c, d}});
            } else {
                cells.push_back(
                    {kDeckQuadFirst + i + kNx * j, KIND_SHELL_QUAD4, PART_DECK, {a, b, c, d}});
            }
            for (const MeshElement& cell : cells) {
                deckElements.push_back(cell.id);
                const double x = CentroidOf(cell).x;
                if (x >= kLength / 4 && x <= 3 * kLength / 4) {
                    trafficElements.push_back(cell.id);
                }
                m_Elements.push_back(cell);
            }
        }
    }
    for (int j = 0; j <= kNy; ++j) {
        for (int i = 0; i <= kNx; ++i) {
            const int node = BoxNode(i, j, kNz);
            const double x = i * kDx;
            deckNodes.push_back(node);
            if (x >= kLength / 4 && x <= 3 * kLength / 4) {
                trafficNodes.push_back(node);
            }
            if (std::fabs(x - kLength / 2) <= 40.0) {
                loadPatchNodes.push_back(node);
            }
        }
    }
    for (std::vector<int>* ids :
         {&deckElements, &trafficElements, &deckNodes, &trafficNodes, &loadPatchNodes}) {
        std::sort(ids->begin(), ids->end());
    }
}

// A bearing under the grid column i0: a row of wedges whose knife edge (the apex nodes) runs
// along y below the column's middle. Each wedge lists its front triangle so that the normal
// points into the wedge, as the hexahedra do.
void BridgeMesh::AddBearing(int firstNode, int firstElement, double apexX, int i0) {
    for (int j = 0; j <= kNy; ++j) {
        AddNode(firstNode + j, apexX, j * kDy, -kBearingDepth);
    }
    for (int j = 0; j < kNy; ++j) {
        const std::vector<int> nodes = {
            BoxNode(i0, j, 0),     BoxNode(i0 + 1, j, 0),     firstNode + j,
            BoxNode(i0, j + 1, 0), BoxNode(i0 + 1, j + 1, 0), firstNode + j + 1};
        bearingElements.push_back(firstElement + j);
        m_Elements.push_back({firstElement + j, KIND_PENTA6, PART_BEARING, nodes});
    }
}

// ---- The optimisation ------------------------------------------------------------------------

namespace {

// A member of the final truss in the x-z plane, with its half width.
struct Member {
    double x0, z0, x1, z1, halfWidth;
};

// A Warren truss: two chords, diagonals between the chords' panel points and a post over each
// bearing.
std::vector<Member> TrussMembers() {
    std::vector<Member> members = {{0, 20, kLength, 20, 20},
                                   {0, 220, kLength, 220, 20},
                                   {10, 20, 10, 220, 12},
                                   {kLength - 10, 20, kLength - 10, 220, 12}};
    for (int panel = 0; panel < 4; ++panel) {
        const double top = 200.0 * panel;
        const double bottom = top + 100.0;
        members.push_back({top, 220, bottom, 20, 22});
        members.push_back({bottom, 20, top + 200.0, 220, 22});
    }
    return members;
}

double DistanceToSegment(const Member& m, double x, double z) {
    const double dx = m.x1 - m.x0;
    const double dz = m.z1 - m.z0;
    const double t =
        std::clamp(((x - m.x0) * dx + (z - m.z0) * dz) / (dx * dx + dz * dz), 0.0, 1.0);
    return std::hypot(x - (m.x0 + t * dx), z - (m.z0 + t * dz));
}

double FinalDensity(const Point& at) {
    static const std::vector<Member> members = TrussMembers();
    double inside = -1e300;
    for (const Member& m : members) {
        inside = std::max(inside, m.halfWidth - DistanceToSegment(m, at.x, at.z));
    }
    return 1.0 / (1.0 + std::exp(-inside / 1.5));
}

// How far an iteration has come from the uniform start to the final truss, 0 to nearly 1.
double Progress(int iteration) {
    return 1.0 - std::exp(-iteration / 8.0);
}

double DeflectionAmplitude(int iteration) {
    return 0.9 + 2.3 * (1.0 - Progress(iteration));
}

} // namespace

const std::vector<int>& Iterations() {
    static const std::vector<int> iterations = {0, 5, 10, 20, 30, 45};
    return iterations;
}

double Density(int iteration, const Point& at) {
    const double p = Progress(iteration);
    return std::clamp((1.0 - p) * kVolumeFraction + p * FinalDensity(at), 0.001, 1.0);
}

// A simply supported beam's first bending shape; plane sections turn with the slope.
Point Displacement(int iteration, const Point& at) {
    const double a = DeflectionAmplitude(iteration);
    const double phase = kPi * at.x / kLength;
    return {a * (kPi / kLength) * std::cos(phase) * (at.z - kHeight / 2), 0.0,
            -a * std::sin(phase)};
}

double Compliance(int iteration) {
    return kTrafficLoad * DeflectionAmplitude(iteration) * 2.0 / kPi;
}

double VonMisesStress(const Point& at) {
    const double x = std::clamp(at.x, 0.0, kLength);
    return 5.0 +
           160.0 * std::sin(kPi * x / kLength) * std::fabs(at.z - kHeight / 2) / (kHeight / 2);
}

} // namespace onf_examples
