#pragma once

// Scan and repair as the API sees them.

#include <string>
#include <vector>

#include "devhost/ApiRouter.h"
#include "devhost/CloudSamples.h"
#include "devhost/ScanEngine.h"

namespace DevHost {

// Must outlive the router that its handlers are entered in, as must the engine.
//
// Codes: 0xe0ff000e for an unknown session or repair, 0xe0ff0007 for pausing what does not run,
// resuming what is not paused, unknown features and a selection that is none, 0xe0ff0016 for a
// repair while the scan or another repair of the session runs, 0xe0fe04c7 for the progress of what
// was cancelled, 0xe0ff0001 for the progress of what failed.
class ScanHandlers {
public:
    explicit ScanHandlers(ScanEngine& engine) : m_Engine(engine) {}

    void AddTo(ApiRouter& router);

    // The names that the samples of comparison data are about.
    StartupNames GetStartupNames();

private:
    void AddScan(ApiRouter& router);
    void AddFirstVersion(ApiRouter& router);
    void AddSecondVersion(ApiRouter& router);
    void AddStartupStatus(ApiRouter& router, std::uint32_t apiId, const char* feature);
    // Notes the status with the session's findings. The machine is not changed.
    ApiAnswer SetStartupStatus(const char* feature, const Json::Value& request);

    ScanEngine& m_Engine;
};

// Reads a selection: an array of finding ids, or an object with "ids" (finding ids), "findings"
// (objects with an "id", as a result has them), "items" (features) or "all": true. Raises
// RequestError with 0xe0ff0007 for anything else.
RepairChoice ReadRepairChoice(const Json::Value& data);

// The features of a comma list; empty texts and "all" stand for every feature, which is an empty
// result.
std::vector<std::string> ReadFeatures(const Json::Value& request);

}  // namespace DevHost
