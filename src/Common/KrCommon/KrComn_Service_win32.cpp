#include <algorithm>

#include "Common/KrCommon/KrComn_ErrorCode.h"
#include "Common/KrCommon/KrComn_ErrorOut.h"
#include "Common/KrCommon/KrComn_Service.h"

namespace KrCommon::Service {

namespace {

static_assert(sizeof(SERVICE_STATUS) == Base::kStatusWords * sizeof(std::uint32_t));

void CloseOne(SC_HANDLE& handle) {
    if (handle != nullptr && CloseServiceHandle(handle) != 0)
        handle = nullptr;
}

void CopyOut(const SERVICE_STATUS& status, std::uint32_t* out) {
    if (out == nullptr)
        return;
    const DWORD words[] = {status.dwServiceType,
                           status.dwCurrentState,
                           status.dwControlsAccepted,
                           status.dwWin32ExitCode,
                           status.dwServiceSpecificExitCode,
                           status.dwCheckPoint,
                           status.dwWaitHint};
    std::copy(std::begin(words), std::end(words), out);
}

}  // namespace

Base::~Base() {
    Close();
}

void Base::Close() noexcept {
    if (m_hManager == nullptr)
        return;
    CloseOne(m_hService);
    CloseOne(m_hManager);
}

bool Base::Connect(std::uint32_t access, std::uint32_t* error) noexcept {
    Close();
    m_hManager = OpenSCManagerW(nullptr, nullptr, access);
    return m_hManager != nullptr || Fail(error, GetLastError());
}

bool Base::Open(const std::wstring& name, std::uint32_t access, std::uint32_t* error) noexcept {
    if (name.empty())
        return Fail(error, ErrorCode::kBadArguments);
    CloseOne(m_hService);
    m_hService = OpenServiceW(m_hManager, name.c_str(), access);
    return m_hService != nullptr || Fail(error, GetLastError());
}

bool Base::QueryState(std::uint32_t& state, std::uint32_t* error) noexcept {
    SERVICE_STATUS status{};
    if (QueryServiceStatus(m_hService, &status) == 0)
        return Fail(error, GetLastError());
    state = status.dwCurrentState;
    return true;
}

bool Base::Start(std::uint32_t* error) noexcept {
    return StartServiceW(m_hService, 0, nullptr) != 0 || Fail(error, GetLastError());
}

bool Base::WaitStatus(const std::uint32_t* uiDesiredState, const std::uint32_t* uiCount,
                      const std::uint32_t* uiIntervalMs, std::uint32_t* status,
                      std::uint32_t* error) noexcept {
    if (m_hManager == nullptr || m_hService == nullptr)
        return Fail(error, ErrorCode::kInvalidHandle);
    SERVICE_STATUS current{};
    for (std::uint32_t round = 0; round < *uiCount; ++round) {
        if (QueryServiceStatus(m_hService, &current) == 0)
            return Fail(error, GetLastError());
        if (current.dwCurrentState == *uiDesiredState)
            break;
        Sleep(*uiIntervalMs);
    }
    if (current.dwCurrentState != *uiDesiredState)
        return Fail(error, ErrorCode::kTimeout);
    CopyOut(current, status);
    return true;
}

}  // namespace KrCommon::Service
