// Whether a result is wanted. The map queries read the request map and understand the
// symbolic loadcases and substeps (-1 all, -2 first registered, -3 last registered); the block
// queries read block 400 as the file gave it and know only -1.
#include "OnfResultRequestFile.h"

#include "OnfResultRequestFileDetail.h"

#include <algorithm>

using namespace onf_detail::rr;

namespace {
constexpr int kAll = -1;
constexpr int kFirst = -2;
constexpr int kLast = -3;
} // namespace

// ---- Matching one request -----------------------------------------------------------------------

bool OnfResultRequestFile::IsAnalysisRequested(const ResultRequest& request, int analysis) const {
    return request.analysis_type == kAll || analysis == kAll || request.analysis_type == analysis;
}

bool OnfResultRequestFile::IsLoadcaseRequested(const ResultRequest& request, int loadcase) const {
    if (request.loadcase == kAll || loadcase == kAll) {
        return true;
    }
    if (request.loadcase != kFirst && request.loadcase != kLast) {
        return request.loadcase == loadcase;
    }
    if (m_RegisteredLoadcases.empty()) {
        return false;
    }
    return request.loadcase == kLast ? loadcase == m_RegisteredLoadcases.rbegin()->first
                                     : loadcase == m_RegisteredLoadcases.begin()->first;
}

// First and last substep are those of the queried loadcase, so that a request for all
// loadcases has a first and last substep in each of them.
bool OnfResultRequestFile::IsSubstepRequested(const ResultRequest& request, int loadcase,
                                              int substep) const {
    if (request.substep == kAll || substep == kAll) {
        return true;
    }
    if (request.substep != kFirst && request.substep != kLast) {
        return request.substep == substep;
    }
    const std::map<int, std::set<int>>::const_iterator found = m_RegisteredLoadcases.find(loadcase);
    if (found == m_RegisteredLoadcases.end() || found->second.empty()) {
        return false;
    }
    return request.substep == kLast ? substep == *found->second.rbegin()
                                    : substep == *found->second.begin();
}

// ---- Map queries --------------------------------------------------------------------------------

bool OnfResultRequestFile::IsResultRequested(QSV_OnfId id, OnfAnalysisType analysis, int loadcase,
                                             int substep, bool ignoreSubstep) const {
    m_Queried = true;
    const RequestMap::const_iterator found = m_Rrm.find(id);
    if (found == m_Rrm.end()) {
        return false;
    }
    for (const ResultRequest& request : found->second) {
        if (IsAnalysisRequested(request, analysis) && IsLoadcaseRequested(request, loadcase) &&
            (ignoreSubstep || IsSubstepRequested(request, loadcase, substep))) {
            return true;
        }
    }
    return false;
}

bool OnfResultRequestFile::resultIsRequested(QSV_OnfId id, OnfAnalysisType analysis,
                                             int loadcase) const {
    return IsResultRequested(id, analysis, loadcase, kAll, true);
}

bool OnfResultRequestFile::resultIsRequested(QSV_OnfId id, OnfAnalysisType analysis, int loadcase,
                                             int substep) const {
    return IsResultRequested(id, analysis, loadcase, substep, false);
}

bool OnfResultRequestFile::typeIsRequested(int id) const {
    m_Queried = true;
    if (!QSV_OnfInfoPool::ExistsOnfBlock(id)) {
        return false;
    }
    return m_Rrm.count(static_cast<QSV_OnfId>(id)) != 0;
}

bool OnfResultRequestFile::IsEmpty() const {
    return m_Rrm.empty();
}

bool OnfResultRequestFile::OnlyMatricesRequested() const {
    if (m_Rrm.empty()) {
        return false;
    }
    const QSV_OnfId* end = m_MatrixRrOnf + NUM_MATRIX_RR_ONF;
    for (const RequestMap::value_type& entry : m_Rrm) {
        if (std::find(m_MatrixRrOnf, end, entry.first) == end) {
            return false;
        }
    }
    return true;
}

// A matching request without details ends the walk: it asks for no particular matrix, and
// what the requests before it selected is the answer.
void OnfResultRequestFile::GlobalMatricesRequested(int loadcase, std::vector<int>& matrices) const {
    matrices.clear();
    const RequestMap::const_iterator found = m_Rrm.find(static_cast<QSV_OnfId>(kGlobalMatrices));
    if (found == m_Rrm.end()) {
        return;
    }
    std::set<int> selected;
    for (const ResultRequest& request : found->second) {
        if (request.loadcase != loadcase && request.loadcase != kAll) {
            continue;
        }
        if (!request.details) {
            break;
        }
        const MatrixRequest* matrix = dynamic_cast<const MatrixRequest*>(request.details.get());
        if (matrix == nullptr) {
            continue;
        }
        const int flags[5] = {matrix->flag_1, matrix->flag_2, matrix->flag_3, matrix->flag_4,
                              matrix->flag_5};
        for (int k = 0; k < 5; ++k) {
            if (flags[k] != 0) {
                selected.insert(k + 1);
            }
        }
    }
    matrices.assign(selected.begin(), selected.end());
}

// ---- Block queries ------------------------------------------------------------------------------

bool OnfResultRequestFile::loadcaseIsRequested(int loadcase) const {
    m_Queried = true;
    const OnfBlock& block = GetBlock(kRequestBlock);
    CheckLayout(block, kRequestBlock, kRequestItems);
    for (QSV_DataBlock::IndexIterator it = block.Begin(); it.IsValid(); ++it) {
        const int requested = block.GetInt(*it, RR_LOADCASE);
        if (requested == kAll || requested == loadcase) {
            return true;
        }
    }
    return false;
}

void OnfResultRequestFile::GetRequests(int loadcase, QSV_IntSetIntvl<int>& blocks) const {
    blocks.Clear();
    const OnfBlock& block = GetBlock(kRequestBlock);
    CheckLayout(block, kRequestBlock, kRequestItems);
    for (QSV_DataBlock::IndexIterator it = block.Begin(); it.IsValid(); ++it) {
        const int requested = block.GetInt(*it, RR_LOADCASE);
        if (requested == loadcase || requested == kAll) {
            blocks.Insert(block.GetInt(*it, RR_TARGET_BLOCK));
        }
    }
}

void OnfResultRequestFile::GetRequestedLoadcases(QSV_IntSetIntvl<int>& loadcases) const {
    loadcases.Clear();
    const OnfBlock& block = GetBlock(kRequestBlock);
    CheckLayout(block, kRequestBlock, kRequestItems);
    for (QSV_DataBlock::IndexIterator it = block.Begin(); it.IsValid(); ++it) {
        const int requested = block.GetInt(*it, RR_LOADCASE);
        if (requested >= 1) {
            loadcases.Insert(requested);
        }
    }
}

// ---- Registration -------------------------------------------------------------------------------

void OnfResultRequestFile::RegisterLoadcase(int loadcase) {
    m_RegisteredLoadcases[loadcase];
}

void OnfResultRequestFile::RegisterSubstep(int loadcase, int substep) {
    m_RegisteredLoadcases[loadcase].insert(substep);
}
