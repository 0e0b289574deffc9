// Time points: the distinct times at which sensitivity outputs are wanted, each with a name, and
// the time point of each output.
#include "OnfResultRequestFile.h"

#include "BrelonTextServices.h"

#include <algorithm>
#include <cmath>

namespace {
const char* const kNotPresent = "NOT_PRESENT";
const char* const kTimePointPrefix = "TR_T_";

std::string TimePointName(double time) {
    return kTimePointPrefix + BrelonStringUtil::String(time);
}

// Ascending, with NaN behind every number, so that a NaN read from a file cannot break the
// sort's ordering.
bool TimeBefore(double a, double b) {
    if (std::isnan(a)) {
        return false;
    }
    return std::isnan(b) || a < b;
}
} // namespace

// The last step of rebuilding the map. Both containers only grow: every rebuild appends the
// time points anew, and a name mapped before keeps its time point. A request with a time flag
// and without sensitivity details has no output name and is passed over.
void OnfResultRequestFile::CreateTimePointsMap(bool hasTimePoints) {
    if (!hasTimePoints) {
        m_TimePointInfo.emplace_back(kNotPresent, -1.0);
        return;
    }
    std::vector<double> times;
    std::vector<const OnfSensitivity::SensitivityRequest*> requests;
    for (int loadcase : m_Loadcases) {
        GetSensitivityRequests(loadcase, requests);
        for (const OnfSensitivity::SensitivityRequest* request : requests) {
            if (request == nullptr || request->time_flag == 0) {
                continue;
            }
            times.push_back(request->time_value);
            m_TimePointNames.emplace(request->name, TimePointName(request->time_value));
        }
    }
    std::sort(times.begin(), times.end(), TimeBefore);
    // Exact comparison: times that differ in the last bit are distinct time points.
    times.erase(std::unique(times.begin(), times.end()), times.end());
    for (double time : times) {
        m_TimePointInfo.emplace_back(TimePointName(time), time);
    }
}

const OnfResultRequestFile::TimePointList& OnfResultRequestFile::GetTimePointInfo() const {
    return m_TimePointInfo;
}

const std::map<std::string, std::string>& OnfResultRequestFile::GetTimePointNameMap() const {
    return m_TimePointNames;
}
