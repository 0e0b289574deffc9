// The temporary exchange file of one optimisation job: the things that its steps hand each other
// and that belong in no model file. Thin typed views of five blocks: the solver-to-optimiser
// loadcase map (900), marlo loadcases (901), matrix steps (910), special element sets for matrix
// output (940) and aliases of design response names (950). The content is stored and given back,
// never interpreted further.
//
// The file is "900.onf" in the working directory unless Read(path) and Write(path) name another.
// Lookups of absent records answer with defaults (the id itself, 0, -1 or an empty text). One
// object belongs to one thread.
#pragma once

#include "BrelonContainers.h"
#include "OnfBlockSet.h"
#include "QSV_OnfCatalogue.h"

#include <map>
#include <set>
#include <string>
#include <vector>

// One matrix step as a caller sees it.
struct MatrixStepInfo {
    int step = 0;
    // The optimiser loadcase whose results the step serves.
    int requestLc = 0;
    std::wstring modelName;
};

// The scratch file of one optimisation job (default name "900.onf"): load case maps, matrix
// steps, a special element set for matrix output and design response aliases.
class OnfTemporaryFile : public OnfBlockSet {
public:
    // An empty file (the five empty blocks) named "900" plus the default suffix.
    OnfTemporaryFile();
    // Releases the database without writing: only Write writes.
    ~OnfTemporaryFile() override;

    // Replaces the blocks by those of the default file; a missing file does nothing, silently.
    void Read();
    // The same on `path`, which must exist (the reader fails otherwise). The default name stays.
    void Read(std::wstring const& path);
    // Writes the default file anew; registered matrices are not written.
    void Write() const;
    void Write(std::wstring const& path) const;

    // Maps the solver loadcase `solverLc` (the record id: the second argument) to the optimiser
    // loadcase `requestLc` with the result requests `a` and `b`, overwriting an earlier mapping.
    void AppendLcResReq(int requestLc, int solverLc, int a, int b);
    // The optimiser loadcase of `solverLc`, or `solverLc` itself when it is not mapped.
    int GetRequestLcId(int solverLc) const;
    // Cleared, then every solver loadcase mapped to its optimiser loadcase.
    void GetLcMapZarnToCorvane(std::map<int, int>& map) const;

    // Stores the four values of marlo loadcase `id`, overwriting an earlier record.
    void AppendMarloLc(int id, int a, int b, int c, int d);
    // The four values of `id`; all -1 when there is no such record.
    void GetMarloLcId(int id, int& a, int& b, int& c, int& d);

    // Adds a matrix step under the next running number.
    void AppendMatrixStep(int step, wchar_t const* modelName, int kind);
    // The step of record `id`, 0 when there is none.
    int GetMatrixStep(int id) const;
    // The model name (UTF-8) of record `id`, empty when there is none.
    void GetMatrixStepModelName(int id, std::string& name) const;
    // Cleared, then every matrix step in record order. Its request loadcase is its kind when
    // that is 1 or more, else the loadcase map's entry for the step, else the step itself.
    void GetMatrixStepsInfo(std::vector<MatrixStepInfo>& steps) const;
    // True when some matrix step has the kind 0.
    bool HasElementMatrixStep() const;

    // Adds the set under the next running number and returns that number.
    int AddSpecialMatrixElemSet(QSV_IntSetIntvl<int> const& set);
    // The set of the first record in index order (the first set added, unless it was deleted),
    // empty when the block has no record. Later sets are never read here.
    void GetSpecialMatrixElemSet(QSV_IntSetIntvl<int>& set) const;

    // Adds one record per alias, in order, each under the last id plus 1, with the alias as
    // given. No aliases, no records.
    void AppendDRespNameMap(std::string const& name, std::vector<std::string> const& aliases);
    // Cleared, then each unquoted alias mapped to its name; a later record wins.
    void GetDRespAliasesMap(std::map<std::string, std::string>& map) const;
    // Cleared, then the unquoted aliases of `name` (exact match) in record order.
    void GetDRespMappedNames(std::string const& name, std::vector<std::string>& aliases) const;
    // As GetDRespMappedNames, adding to `pool`, which is not cleared first.
    void GetDRespMappedNamesPool(std::string const& name, BrelonStringsPool& pool) const;

    // Matrices registered for this job, held in memory only (not written, not read).
    void RegisterMatrix(QSV_OnfId const& id);
    void RegisterMatrices(std::set<QSV_OnfId> const& ids);
    void UnregisterMatrices(std::set<QSV_OnfId> const& ids);
    bool MatrixRegistered(QSV_OnfId const& id) const;

private:
    void ReadFrom(std::wstring const& path);
    void WriteTo(std::wstring const& path) const;

    std::wstring m_FileName;
    std::set<QSV_OnfId> m_RegisteredMatrices;
};
