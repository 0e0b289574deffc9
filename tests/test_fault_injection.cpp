// Faults injected as the most trusted storage engines inject them: the Nth allocation fails, or
// the Nth write of an output file, for N = 1, 2, ... until the operation gets through, first
// failing once and then failing for good. Loading and saving a model, a groups file and a result
// file must each end in a failure or in their normal result; after a failure the object is
// destroyed cleanly (ASan checks for leaks in CI) or, read again, holds what a clean read gives,
// and a saved file is the old one or the complete new one.
#include "BrelonTextServices.h"
#include "ONFOptResultFile.h"
#include "OnfGroupsFile.h"
#include "OnfInitFile.h"
#include "OnfModelFile.h"
#include "OnfModifFile.h"
#include "OnfResultRequestFile.h"
#include "OnfTemporaryFile.h"
#include "QSV_Failure.h"
#include "SameContent.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <functional>
#include <memory>
#include <new>
#include <sstream>
#include <string>

// ---- The rigged allocator --------------------------------------------------------------------

namespace {

struct AllocationPlan {
    size_t countdown = 0;    // allocations until the fault, 0 when disarmed
    bool persistent = false; // every allocation after it fails too
    bool fired = false;
};
AllocationPlan s_Allocations;

void* Allocate(size_t size) {
    AllocationPlan& plan = s_Allocations;
    if (plan.fired ? plan.persistent : (plan.countdown > 0 && --plan.countdown == 0)) {
        plan.fired = true;
        throw std::bad_alloc();
    }
    if (void* memory = std::malloc(size > 0 ? size : 1)) {
        return memory;
    }
    throw std::bad_alloc();
}

} // namespace

void* operator new(size_t size) {
    return Allocate(size);
}
void* operator new[](size_t size) {
    return Allocate(size);
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete[](void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, size_t) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, size_t) noexcept {
    std::free(memory);
}

namespace {

const std::string kOld = "# the old file\n";

std::string Dir() {
    return testing::TempDir() + "fault_injection_" + std::to_string(getpid()) + "_";
}

std::string Get(const std::string& path) {
    std::stringstream text;
    text << std::ifstream(path, std::ios::binary).rdbuf();
    return text.str();
}

void Put(const std::string& path, const std::string& text) {
    std::ofstream(path, std::ios::binary) << text;
}

std::wstring Wide(const std::string& path) {
    return std::wstring(path.begin(), path.end());
}

// Which layer fails.
enum class Layer { ALLOCATION, WRITE };

// Runs `operation` with the Nth step of `layer` failing, for N = 1, 2, ... until a run reaches no
// Nth step. `check(failed)` looks at the state after each run. Returns the runs a fault reached.
size_t Drive(Layer layer, bool persistent, const std::function<void()>& operation,
             const std::function<void(bool failed)>& check) {
    for (size_t n = 1;; ++n) {
        bool failed = false;
        if (layer == Layer::ALLOCATION) {
            s_Allocations = AllocationPlan{n, persistent, false};
        } else {
            BrelonOutputFile::InjectFaults(n, ENOSPC, persistent);
        }
        try {
            operation();
        } catch (const std::bad_alloc&) {
            failed = true;
        } catch (const QSV_Exception&) {
            failed = true;
        }
        const bool fired = s_Allocations.fired;
        s_Allocations = AllocationPlan();
        const bool reached =
            layer == Layer::ALLOCATION ? fired : BrelonOutputFile::InjectFaults(0, 0, false) > 0;
        {
            SCOPED_TRACE("fault at step " + std::to_string(n));
            check(failed);
        }
        if (!reached) {
            EXPECT_FALSE(failed) << "a failure without an injected fault, at N = " << n;
            return n - 1;
        }
    }
}

// Every layer, once and for good.
void DriveAll(const std::function<void()>& operation, const std::function<void(bool failed)>& check,
              bool writes) {
    for (const Layer layer : {Layer::ALLOCATION, Layer::WRITE}) {
        if (layer == Layer::WRITE && !writes) {
            continue;
        }
        for (const bool persistent : {false, true}) {
            SCOPED_TRACE(std::string(layer == Layer::ALLOCATION ? "allocations" : "writes") +
                         (persistent ? ", failing for good" : ", failing once"));
            EXPECT_GT(Drive(layer, persistent, operation, check), 0u);
        }
    }
}

// A save of `path` under every fault: the file holds the old text or the whole new one.
void DriveSave(const std::string& path, const std::function<void()>& save) {
    Put(path, kOld);
    save();
    const std::string whole = Get(path);
    ASSERT_NE(whole, kOld);
    Put(path, kOld);
    DriveAll([&] { save(); },
             [&](bool failed) {
                 const std::string now = Get(path);
                 EXPECT_TRUE(now == kOld || now == whole) << now.substr(0, 200);
                 EXPECT_TRUE(!failed || now == kOld);
                 Put(path, kOld);
             },
             true);
}

TEST(FaultInjection, ModelLoadsAndSavesOrFailsCleanly) {
    const std::string source = std::string(ONF_EXAMPLES_DIR) + "/model_full.onf";
    OnfModelFile reference(Wide(source), nullptr);
    reference.Read();
    OnfModelFile reused(Wide(source), nullptr);
    DriveAll(
        [&] {
            OnfModelFile model(Wide(source), nullptr);
            model.Read();
        },
        [&](bool) {}, false);
    DriveAll([&] { reused.Read(); },
             [&](bool failed) {
                 if (failed) {
                     reused.Read(); // a failed read leaves an object that reads again
                 }
                 onf_test::ExpectSameContent(reference, reused);
             },
             false);
    const std::string path = Dir() + "model.onf";
    Put(path, kOld);
    reference.SetFilename(Wide(path));
    DriveSave(path, [&] { reference.Write(); });
}

TEST(FaultInjection, GroupsFileLoadsAndSavesOrFailsCleanly) {
    const std::string source = std::string(ONF_EXAMPLES_DIR) + "/bridge_groups.onf";
    OnfGroupsFile reference(Wide(source));
    reference.Read();
    // A file object that fails to read is destroyed while the faults go on, a read one is
    // compared once they are off.
    std::unique_ptr<OnfGroupsFile> groups;
    DriveAll(
        [&] {
            auto reading = std::make_unique<OnfGroupsFile>(Wide(source));
            reading->Read();
            groups = std::move(reading);
        },
        [&](bool failed) {
            if (!failed) {
                onf_test::ExpectSameContent(reference, *groups);
            }
            groups.reset();
        },
        false);
    const std::string path = Dir() + "groups.onf";
    Put(path, kOld);
    OnfGroupsFile saved(Wide(path));
    saved.AppendNodeGroup(1, "TOP", {1, 2, 3, 7});
    saved.AppendElementGroup(2, "\"SKIN, OUTER\"", {5, 6});
    DriveSave(path, [&] { saved.Write(); });
}

TEST(FaultInjection, ResultFileLoadsAndSavesOrFailsCleanly) {
    const std::string path = Dir() + "results.onf";
    ONFOptResultFile made(path);
    ONFOptDataBlockEntry<ONFOptResNodalDisp> disp(1, "Displacement");
    for (int n = 1; n <= 20; ++n) {
        disp.PushBackItem(ONFOptResNodalDisp(n, n / 8.0, -n / 4.0, 0.5));
    }
    made.GetOptDBNodalDisp().PushBackEntry(disp);
    made.GetOptDBNodeGroup().AddItem(ONFNodeGroup(3, "ALL", {1, 2, 3, 4, 5, 9}));
    made.Write();
    std::ostringstream expected;
    expected << made;
    // Both routes of reading. (A stream operator turns a failed allocation into the stream's bad
    // bit, so the text is compared once the faults are off.)
    std::unique_ptr<ONFOptResultFile> read;
    const auto same = [&](bool failed) {
        if (!failed) {
            std::ostringstream text;
            text << *read;
            EXPECT_EQ(text.str(), expected.str());
        }
        read.reset();
    };
    DriveAll(
        [&] {
            read = std::make_unique<ONFOptResultFile>(path);
            read->Read();
        },
        same, false);
    DriveAll(
        [&] {
            read = std::make_unique<ONFOptResultFile>(path);
            std::ifstream in(path, std::ios::binary);
            in >> *read;
        },
        same, false);
    // Its Write reports no failure: the file alone tells.
    Put(path, kOld);
    DriveSave(path, [&] { made.Write(); });
}

// The other file kinds' saves, under failing writes.
TEST(FaultInjection, EveryFileKindSavesWholeOrKeepsTheOldFile) {
    const std::string path = Dir() + "kind.onf";
    const std::function<void()> saves[] = {
        [&] {
            OnfInitFile init(Wide(path));
            init.AppendInit(static_cast<QSV_OnfId>(110), 1, 9, 9);
            init.Write();
        },
        [&] { OnfModifFile(Wide(path)).Write(); },
        [&] { OnfResultRequestFile(Wide(path)).Write(OnfResultRequestFile::GroupItems()); },
        [&] {
            OnfTemporaryFile temporary;
            temporary.AppendLcResReq(1, 2, 3, 4);
            temporary.Write(Wide(path));
        }};
    for (const auto& save : saves) {
        Put(path, kOld);
        save();
        const std::string whole = Get(path);
        for (const bool persistent : {false, true}) {
            Put(path, kOld);
            EXPECT_GT(Drive(Layer::WRITE, persistent, save,
                            [&](bool failed) {
                                EXPECT_EQ(Get(path), failed ? kOld : whole);
                                Put(path, kOld);
                            }),
                      3u);
        }
    }
}

} // namespace
