#pragma once

// A development host in a process of its own, and mail to it through the product's client.

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "lib/KrOuterClientHelper/OuterClientHelper.h"
#include "lib/wycommon/WyCommon_JsonDocument.h"

// Starts WySvcHost.exe, which lies beside the test program, for the length of a scope. It ends
// with the test program at the latest.
class HostRunner {
public:
    // The texts are arguments of the host beside those that the runner gives itself.
    explicit HostRunner(const std::vector<std::wstring>& arguments = {}, int mode = 0);
    HostRunner(const HostRunner&) = delete;
    HostRunner& operator=(const HostRunner&) = delete;
    // Stops the host, and its successors, and waits until they are gone.
    ~HostRunner();

    // True when the host listens; false when it ended or did not come up in half a minute.
    bool WaitUntilReady();
    // Waits for a successor of the host to listen. The host must have ended.
    bool WaitForSuccessor();

    // Asks the host to stop, without waiting.
    void RequestStop();
    // The exit status; nothing when the process did not end in half a minute.
    std::optional<std::uint32_t> WaitForEnd();
    void Kill();

    std::uint32_t ProcessId() const;
    // What it wrote to its outputs, and to its log. Complete once it has ended.
    std::string Output() const;
    std::string Log() const;

private:
    struct State;
    std::unique_ptr<State> m_pState;
};

// The answer to one call.
struct CallResult {
    std::uint32_t result = 0;   // of the transport, or the mail's verdict
    std::uint32_t retCode = 0;  // of the answer
    JsonDocument answer;        // the whole of it

    JsonDocument Data() { return answer["data"]; }
};

// A client of the host. One helper is kept for all tests of a program: each new callback server
// would open one more endpoint, and a process can have about sixty of them.
class HostClient {
public:
    static CKrRpcClientHelper& Helper();

    // `json` is the request; an empty text is an empty object.
    static CallResult Call(std::uint32_t apiId, const std::wstring& json = L"{}");
    // The transport's result of a call that a process of its own makes. Under Wine a call that its
    // server did not survive leaves something behind in the caller, by which later servers on the
    // same endpoint are not reached any more.
    static std::uint32_t CallApart(std::uint32_t apiId);
    static CallResult Mail(std::uint32_t destination, std::uint32_t mailId,
                           const std::wstring& json);
};
