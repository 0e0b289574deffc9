// Directed graph and its topological sort (Kahn's method with an explicit heap, no recursion).
#include "BrelonNumerics.h"

#include <functional>
#include <queue>

BrelonDirectedGraph::BrelonDirectedGraph() = default;
BrelonDirectedGraph::~BrelonDirectedGraph() = default;

void BrelonDirectedGraph::AddVertex(int id) {
    if (m_IndexOfId.emplace(id, m_Ids.size()).second) {
        m_Ids.push_back(id);
    }
}

void BrelonDirectedGraph::AddDirectedEdge(int from, int to) {
    AddVertex(from);
    AddVertex(to);
    m_EdgeFrom.push_back(m_IndexOfId.find(from)->second);
    m_EdgeTo.push_back(m_IndexOfId.find(to)->second);
}

bool BrelonDirectedGraph::GenerateTopologicalSort(std::vector<int>& order) const {
    const size_t numVertices = m_Ids.size();
    const size_t numEdges = m_EdgeFrom.size();
    // Outgoing edges in compressed rows: the targets of vertex v are
    // targets[firstEdge[v]] .. targets[firstEdge[v + 1] - 1].
    std::vector<size_t> firstEdge(numVertices + 1, 0);
    std::vector<size_t> inDegree(numVertices, 0);
    for (size_t e = 0; e < numEdges; ++e) {
        ++firstEdge[m_EdgeFrom[e] + 1];
        ++inDegree[m_EdgeTo[e]];
    }
    for (size_t v = 0; v < numVertices; ++v) {
        firstEdge[v + 1] += firstEdge[v];
    }
    std::vector<size_t> targets(numEdges);
    std::vector<size_t> fill(firstEdge.begin(), firstEdge.end() - 1);
    for (size_t e = 0; e < numEdges; ++e) {
        targets[fill[m_EdgeFrom[e]]++] = m_EdgeTo[e];
    }

    // Ready vertices leave the heap in insertion order, which makes the result repeatable.
    std::priority_queue<size_t, std::vector<size_t>, std::greater<size_t>> ready;
    for (size_t v = 0; v < numVertices; ++v) {
        if (inDegree[v] == 0) {
            ready.push(v);
        }
    }
    order.clear();
    order.reserve(numVertices);
    while (!ready.empty()) {
        const size_t v = ready.top();
        ready.pop();
        order.push_back(m_Ids[v]);
        for (size_t e = firstEdge[v]; e < firstEdge[v + 1]; ++e) {
            if (--inDegree[targets[e]] == 0) {
                ready.push(targets[e]);
            }
        }
    }
    return order.size() == numVertices;
}
