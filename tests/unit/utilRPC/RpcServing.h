#pragma once

// Servers and calls of the server's tests.

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <string>
#include <thread>

#include "support/HexBytes.h"
#include "support/service/ServiceScript.h"
#include "utilRPC/rpc_server.h"

namespace test_support {

inline CComponentID Id(const std::wstring& name) {
    return CComponentID(name.c_str());
}

// Serves every message id.
class AnyIdHandler : public CIPCServerRequestCallback {
public:
    using Work = std::function<void(std::uint32_t, CIPCMsgBuffer&, CIPCMsgBuffer&)>;
    explicit AnyIdHandler(Work work = {}) : m_Work(std::move(work)) {}

    bool GetMsgID(std::uint32_t** ids, std::uint32_t* count) override {
        *ids = new std::uint32_t[1]{0};
        *count = 1;
        return true;
    }
    void FreeMsgID(std::uint32_t* ids) override { delete[] ids; }
    // By default the message id comes back.
    void operator()(std::uint32_t id, CIPCMsgBuffer& in, CIPCMsgBuffer& out) override {
        if (m_Work) {
            m_Work(id, in, out);
        } else {
            out << id;
        }
    }

private:
    Work m_Work;
};

// A server with a handler for the length of a scope.
class Serving {
public:
    explicit Serving(const std::wstring& component, AnyIdHandler::Work work = {})
        : m_Handler(std::move(work)),
          m_Helper(Id(component), 1000, CRPCServerParameter(L"ncalrpc")) {
        m_Helper.RegisterHandler(&m_Handler);
    }
    Serving(const Serving&) = delete;
    Serving& operator=(const Serving&) = delete;
    ~Serving() {
        // A call has answered before it has ended; Wine may miss an end at the moment at which the
        // server is taken down, and wait for it for ever.
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        m_Helper.UnRegisterHandler(&m_Handler);
    }

private:
    AnyIdHandler m_Handler;
    CRPCServerHelper m_Helper;
};

// The answer of an endpoint, 77 being the message id unless a request is given.
inline std::string Call(const std::wstring& endpoint, const Bytes& request = Words({77})) {
    return ToHex(CallEndpoint(endpoint, request));
}

constexpr const char* kEcho77 = "4d 00 00 00";

// True for a failure envelope.
inline bool IsFailure(const std::string& answer) {
    return answer.rfind("02 00 00 00", 0) == 0;
}

}  // namespace test_support
