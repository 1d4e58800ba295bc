#include <atomic>
#include <cstdint>

#include "Common/KrCommon/KrComn_LibraryFunction.h"
#include "Common/KrCommon/KrComn_OsVersion.h"
#include "Common/KrCommon/KrComn_Windows.h"

namespace KrCommon::OsVersion {

namespace {

constinit std::atomic<std::uint16_t> s_Architecture{Architecture::kUnknown};

// What the system has told, each number by itself: threads that ask at once store the same ones.
struct Answer {
    std::atomic<std::uint32_t> platformId{0};
    std::atomic<std::uint32_t> majorVersion{0};
    std::atomic<std::uint32_t> minorVersion{0};
    std::atomic<std::uint16_t> servicePack{0};
    std::atomic<std::uint8_t> productType{0};
    std::atomic<std::uint32_t> smallError{0};
    std::atomic<std::uint32_t> extendedError{0};
    std::atomic<bool> filled{false};  // stored last, with release
};

constinit Answer s_Answer;

// Asks for one form; 0, or the code of the failure.
template <class Form>
std::uint32_t AskVersion(Form& form) {
    form = {};
    form.dwOSVersionInfoSize = sizeof form;
    SetLastError(ERROR_SUCCESS);
    if (GetVersionExW(reinterpret_cast<OSVERSIONINFOW*>(&form)) != 0)
        return ERROR_SUCCESS;
    const DWORD code = GetLastError();
    return code != ERROR_SUCCESS ? code : ERROR_OLD_WIN_VERSION;
}

void Fill() {
    OSVERSIONINFOW small;
    const std::uint32_t smallError = AskVersion(small);
    OSVERSIONINFOEXW extended;
    const std::uint32_t extendedError = AskVersion(extended);

    s_Answer.platformId = small.dwPlatformId;
    s_Answer.majorVersion = small.dwMajorVersion;
    s_Answer.minorVersion = small.dwMinorVersion;
    s_Answer.servicePack = extended.wServicePackMajor;
    s_Answer.productType = extended.wProductType;
    s_Answer.smallError = smallError;
    s_Answer.extendedError = extendedError;
    s_Answer.filled.store(true, std::memory_order_release);
}

const Answer& Ask() {
    if (!s_Answer.filled.load(std::memory_order_acquire))
        Fill();
    return s_Answer;
}

}  // namespace

bool Is(std::uint32_t condition) noexcept {
    const Answer& answer = Ask();
    if (answer.smallError != 0 || (answer.extendedError != 0 && NeedsExtendedForm(condition)))
        return false;
    Record record;
    record.platformId = answer.platformId;
    record.majorVersion = answer.majorVersion;
    record.minorVersion = answer.minorVersion;
    record.servicePack = answer.servicePack;
    record.productType = answer.productType;
    record.architecture = Is64Bit() ? Architecture::kAmd64 : Architecture::kIntel;
    return Meets(record, condition);
}

std::uint32_t GetError() noexcept {
    const Answer& answer = Ask();
    return answer.smallError != 0 ? answer.smallError : answer.extendedError;
}

bool Is64Bit() noexcept {
    std::uint16_t architecture = s_Architecture.load(std::memory_order_relaxed);
    if (architecture == Architecture::kUnknown) {
        Library::Function<void WINAPI(SYSTEM_INFO*)> ask;
        if (!ask.Find(L"kernel32.dll", "GetNativeSystemInfo", nullptr))
            return false;
        SYSTEM_INFO info = {};
        ask.Get()(&info);
        architecture = info.wProcessorArchitecture;
        s_Architecture.store(architecture, std::memory_order_relaxed);
    }
    return architecture == Architecture::kAmd64;
}

}  // namespace KrCommon::OsVersion
