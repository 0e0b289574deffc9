// The result request file: which result blocks the optimiser wants from a solver run, for which
// analysis type, loadcase and substep, with matrix, user-variable and sensitivity details.
//
// The object keeps the file's raw blocks (400 requests, 410 options, 420 user variables, 430
// matrix selections, 440 sensitivity definitions, 10030 node groups, 10032 element groups) in
// its block set and decodes block 400 into the result request map, from which the map queries
// answer. The block queries read block 400 directly: they know only -1 as "all" and do not see
// requests added through AddResultRequest. The two families differ at the edges on purpose.
//
// One object belongs to one thread: even the const queries set a mutable flag. Failures are
// QSV_Failure with the tag "|%P|BrelonOnfEngine|OnfResultRequestFile", or pass through from the
// reader, writer and blocks.
#pragma once

#include "BrelonContainers.h"
#include "BrelonNumerics.h"
#include "OnfBlockSet.h"
#include "QSV_Groups.h"
#include "QSV_OnfCatalogue.h"

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

// The number of target blocks that are matrix requests (OnfResultRequestFile::m_MatrixRrOnf),
// spelled by clients both on its own and as a member of the file class.
constexpr int NUM_MATRIX_RR_ONF = 4;

// The kind of analysis a request is for. The values are the callers' matter: the engine only
// compares them with each other and with ONF_ANALYSIS_ANY. The fixed underlying type makes
// every int a valid value.
enum OnfAnalysisType : int32_t { ONF_ANALYSIS_ANY = -1 };

// Base of the details a request carries for its target block. Every request owns its details.
class ResultRequestDetails {
public:
    virtual ~ResultRequestDetails();
    // A new heap copy of the most derived object, owned by the caller.
    virtual ResultRequestDetails* Clone() const = 0;

protected:
    ResultRequestDetails() = default;
    ResultRequestDetails(const ResultRequestDetails&) = default;
    ResultRequestDetails& operator=(const ResultRequestDetails&) = default;
};

// Details of a request for block 589: flag_k non-zero selects global matrix k (block 430).
class MatrixRequest : public ResultRequestDetails {
public:
    MatrixRequest* Clone() const override;

    int32_t flag_1 = 0;
    int32_t flag_2 = 0;
    int32_t flag_3 = 0;
    int32_t flag_4 = 0;
    int32_t flag_5 = 0;
};

// Details of a request for block 620 (block 420): kind 1 names a user variable by `name`, kind 2
// by `number`.
class UserVarRequest : public ResultRequestDetails {
public:
    UserVarRequest* Clone() const override;

    int32_t kind = 0;
    int32_t number = 0;
    std::string name;
};

namespace OnfSensitivity {
// Details of a request for blocks 640 to 643: one sensitivity output as block 440 defines it.
class SensitivityRequest : public ResultRequestDetails {
public:
    // A full copy; `coordinate_system` is copied as a pointer (it is not owned).
    SensitivityRequest* Clone() const override;

    std::string name;
    std::string label;
    // "None", "S" or "PE", in the order of the file's list.
    std::vector<std::string> user_outputs;
    int32_t type = 0;
    int32_t qualifier = 0;
    // Group names; empty means no set.
    std::string node_set;
    std::string element_set;
    // Key into GetSensitivityRequestsOrientations(); empty for none.
    std::string orientation;
    // Not owned, may be null. Set by callers who build requests; reading leaves it null. It is
    // what Write stores as the output's system.
    BrelonCoordinateSystem* coordinate_system = nullptr;
    // Copied from the owning request.
    int32_t time_flag = 0;
    double time_value = 0.0;
    int32_t substep = -1;
};
} // namespace OnfSensitivity

// The result request file: which results the optimiser wants from the solver. Keeps the raw
// blocks 400 to 440 and a decoded request map that the request queries answer from.
class OnfResultRequestFile : public OnfBlockSet {
public:
    // One entry of the result request map. Copying clones the details, so every request owns
    // its own; destroying the request destroys them.
    class ResultRequest {
    public:
        ResultRequest() = default;
        ResultRequest(const ResultRequest& other);
        ResultRequest& operator=(const ResultRequest& other);
        ResultRequest(ResultRequest&& other) noexcept = default;
        ResultRequest& operator=(ResultRequest&& other) noexcept = default;
        ~ResultRequest();

        // -1 means any analysis type.
        int32_t analysis_type = -1;
        // -1 all, -2 the smallest registered number, -3 the largest; other values as they are.
        int32_t loadcase = -1;
        int32_t substep = -1;
        // Non-zero marks a request at the time point `time_value`.
        int32_t time_flag = -1;
        double time_value = 0.0;
        // May be null.
        std::unique_ptr<ResultRequestDetails> details;
    };

    using RequestMap = std::map<QSV_OnfId, std::vector<ResultRequest>>;
    using GroupItems = std::map<QSV_GroupDescriptor, std::vector<int>>;
    using SetMap = std::map<std::string, QSV_IntSetIntvl<int>>;
    using OrientationMap = std::map<std::string, BrelonCoordinateSystem>;
    using TimePointList = std::vector<std::pair<std::string, double>>;

    // The four target blocks that are matrix requests: 590, 591, 592, 589, in that order.
    static constexpr int NUM_MATRIX_RR_ONF = ::NUM_MATRIX_RR_ONF;
    static const QSV_OnfId m_MatrixRrOnf[NUM_MATRIX_RR_ONF];

    // An empty request file bound to `name` (blocks 400, 410, 420, 10030, 10032, all empty;
    // 430 and 440 come only from a file). Nothing is read here.
    explicit OnfResultRequestFile(const std::wstring& name);
    // Writes nothing: only Write writes.
    ~OnfResultRequestFile() override;

    // Reads the file (blocks of unknown numbers dropped with a warning; a block read replaces
    // the one held), then rebuilds the request map. Besides the reader's failures: a request
    // naming a record that block 430, 420 or 440 lacks fails with "Error in the cross-references
    // between result-request data blocks.\nRecord ID %d does not exist in ONF-block %d!"
    // ("105466170309", "105617170309", "104923030917"); a target block the catalogue lacks with
    // "An unknown/invalid ONF block %d was found in the result-request file!" ("171655230712");
    // a user output outside 0 to 2 with "Invalid value found in onf block 440 for
    // user_ouput_id". A failure keeps the requests decoded before it.
    void Read();
    // What Read does once the file's blocks are loaded (LoadFrom with LOAD_REPLACE_BLOCKS), for
    // a caller that loads them itself: rebuilds the request map, with Read's failures.
    void FinishRead();
    // Writes the file anew with the sensitivity requests (blocks 640 to 643 with details) and
    // the given groups (node groups to block 10030, element groups to 10032; ids as given). All
    // other requests are left out. The object does not change.
    void Write(const GroupItems& groups) const;
    // Replaces block 400 by one request (any analysis, loadcase, substep) for every catalogued
    // result block from 500 to 697 except 520, then rebuilds the map.
    void InitForAllResults();
    // Appends a copy of `request` (details cloned) to the map under `id`; block 400 is not
    // touched, so a rebuild of the map drops it. Taken by value: a caller's rvalue is moved
    // from, an lvalue is copied and keeps its details.
    void AddResultRequest(QSV_OnfId id, ResultRequest request);
    // Deletes the records of block 400 that request a matrix block, then rebuilds the map.
    void RemoveMatrixRequests();
    // The name of the first request for block 620 whose details name a user variable (kind 1);
    // empty if there is none.
    std::string UserVarName();

    // ---- Map queries (they understand -1, -2 and -3 in requests) -----------------------------
    // True if some request for `id` matches the analysis type, the loadcase and (unless
    // `ignoreSubstep`) the substep. -1 as an argument matches every request; -2 and -3 as
    // arguments are plain numbers. First and last are taken from the registered numbers, the
    // substeps of the queried loadcase.
    bool IsResultRequested(QSV_OnfId id, OnfAnalysisType analysis, int loadcase, int substep,
                           bool ignoreSubstep) const;
    // IsResultRequested with the substep ignored.
    bool resultIsRequested(QSV_OnfId id, OnfAnalysisType analysis, int loadcase) const;
    // IsResultRequested with the substep tested.
    bool resultIsRequested(QSV_OnfId id, OnfAnalysisType analysis, int loadcase, int substep) const;
    // True for a catalogued block that the map holds a key for, whatever its requests.
    bool typeIsRequested(int id) const;
    // Block 400: true if some record has loadcase -1 or `loadcase` (-2 and -3 plain numbers).
    bool loadcaseIsRequested(int loadcase) const;
    // The map has no key.
    bool IsEmpty() const;
    // The map has a key and every key is a matrix block.
    bool OnlyMatricesRequested() const;
    // Block 400: the target blocks of the records with loadcase -1 or `loadcase`.
    void GetRequests(int loadcase, QSV_IntSetIntvl<int>& blocks) const;
    // Block 400: every loadcase of 1 or above.
    void GetRequestedLoadcases(QSV_IntSetIntvl<int>& loadcases) const;
    // The matrix numbers (1 to 5, ascending) that the requests for block 589 with loadcase -1
    // or `loadcase` select; the walk stops at the first such request without details.
    void GlobalMatricesRequested(int loadcase, std::vector<int>& matrices) const;
    // Registers a loadcase (its substeps, if any, stay).
    void RegisterLoadcase(int loadcase);
    // Registers a substep of a loadcase, registering the loadcase too.
    void RegisterSubstep(int loadcase, int substep);

    // ---- Sensitivity requests ----------------------------------------------------------------
    // The map has a key 641, 642 or 643.
    bool HasSensitivityRequests() const;
    // Cleared, then the details of the requests for 643, 641, 642 (in this order) whose loadcase
    // is exactly `loadcase` (-1 is no wildcard). An entry is null for a request without
    // sensitivity details. The pointers live until the map is rebuilt.
    void GetSensitivityRequests(int loadcase,
                                std::vector<const OnfSensitivity::SensitivityRequest*>& out) const;
    // Cleared, then the member ids of every group of blocks 10030 and 10032 that some record of
    // block 440 names, by group name. A name no group bears gives no entry. Sets are not merged.
    void GetSensitivityRequestsSets(SetMap& nodeSets, SetMap& elementSets) const;
    // The distinct systems of the sensitivity outputs, named "OPT_ORI_1", "OPT_ORI_2", ...
    const OrientationMap& GetSensitivityRequestsOrientations() const;

    // ---- Time points ---------------------------------------------------------------------------
    // The distinct times of sensitivity outputs ascending, named "TR_T_<time>", or the single
    // entry ("NOT_PRESENT", -1.0) when no request has a time flag. Each rebuild of the map
    // appends to it.
    const TimePointList& GetTimePointInfo() const;
    // Output name to the name of its time point; the first request of a name decides.
    const std::map<std::string, std::string>& GetTimePointNameMap() const;

    // ---- Inspection ----------------------------------------------------------------------------
    // The result request map.
    const RequestMap& GetResultRequestMap() const { return m_Rrm; }
    // Every distinct loadcase of block 400 seen by the map's rebuilds, in order of appearance.
    const std::vector<int>& GetLoadcases() const { return m_Loadcases; }
    // True once a query that marks it has run.
    bool WasQueried() const { return m_Queried; }
    const std::wstring& GetRequestFileName() const { return m_FileName; }

private:
    void InitRrm();
    void DecodeDetails(QSV_OnfId target, int recordId, ResultRequest& request);
    void RebuildOnfBlocks(OnfBlockSet& set) const;
    void AddRRRecord(OnfBlockSet& set, QSV_OnfId id, const ResultRequest& request,
                     size_t index) const;
    void FillRRRecord(QSV_DataRecord& record, QSV_OnfId id, const ResultRequest& request,
                      size_t index) const;
    size_t FindRecord(const QSV_DataBlock& block, const QSV_ConstDataRecord& record) const;
    void WriteGroups(const GroupItems& groups, QSV_ItemType itemType, QSV_Database& database) const;

    bool IsAnalysisRequested(const ResultRequest& request, int analysis) const;
    bool IsLoadcaseRequested(const ResultRequest& request, int loadcase) const;
    bool IsSubstepRequested(const ResultRequest& request, int loadcase, int substep) const;

    void InitSensRrm(ResultRequest& request, int recordId);
    void AssignOrientation(const BrelonCoordinateSystem& system,
                           OnfSensitivity::SensitivityRequest& request);
    void ReduceSensitivitySets();
    bool IsNdGrpRequested(std::set<std::string>& names) const;
    bool IsElGrpRequested(std::set<std::string>& names) const;
    size_t AddRRSensRecord(OnfBlockSet& set,
                           const OnfSensitivity::SensitivityRequest& request) const;
    void FillRRSensRecord(QSV_DataRecord& record,
                          const OnfSensitivity::SensitivityRequest& request) const;

    void CreateTimePointsMap(bool hasTimePoints);

    std::wstring m_FileName;
    std::vector<int> m_Loadcases;
    RequestMap m_Rrm;
    std::map<int, std::set<int>> m_RegisteredLoadcases;
    OrientationMap m_Orientations;
    TimePointList m_TimePointInfo;
    std::map<std::string, std::string> m_TimePointNames;
    mutable bool m_Queried = false;
};
