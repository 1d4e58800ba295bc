#include "Common/KrCommon/KrComn_Log.h"
#include "FuzzInput.h"

namespace {

class Nothing : public KrCommon::LogSink {
public:
    bool IsLevelEnabled(std::uint32_t) override { return true; }
    bool Trace(const char*, std::uint32_t, std::uint32_t, const wchar_t*, ...) override {
        return true;
    }
};

}  // namespace

void fuzz::LogIntoNothing() {
    static Nothing nothing;
    g_pDebugLog = &nothing;
}
