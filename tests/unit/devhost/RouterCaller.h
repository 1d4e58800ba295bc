#pragma once

#include <chrono>
#include <string>
#include <thread>

#include "devhost/ApiRouter.h"
#include "devhost/FileSystem.h"
#include "unit/devhost/TestJson.h"

// Calls handlers as a client would, without the wire.
class RouterCaller {
public:
    DevHost::ApiRouter router;
    DevHost::CallContext caller{"11111111-2222-3333-4444-555555555555", 100, 1};

    DevHost::ApiAnswer Call(std::uint32_t apiId, const std::string& json = "{}") const {
        return router.Call(apiId, ParseJson(json), caller);
    }
    std::uint32_t Code(std::uint32_t apiId, const std::string& json = "{}") const {
        return Call(apiId, json).retCode;
    }
    // Polls a progress call until it is at a hundred or fails; gives the last answer.
    DevHost::ApiAnswer PollToEnd(std::uint32_t apiId, const std::string& json = "{}") const {
        for (int i = 0; i < 4000; ++i) {
            DevHost::ApiAnswer answer = Call(apiId, json);
            if (KrCommon::Result::Failed(answer.retCode))
                return answer;
            if (answer.data["progress"].asUInt() == 100)
                return answer;
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        return Call(apiId, json);
    }
};

// A path as it stands inside a JSON text.
inline std::string InJson(const std::filesystem::path& path) {
    std::string escaped;
    for (const char character : DevHost::FileSystem::ToUtf8(path)) {
        if (character == '\\' || character == '"')
            escaped += '\\';
        escaped += character;
    }
    return escaped;
}
