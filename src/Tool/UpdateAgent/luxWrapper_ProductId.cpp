#include <algorithm>
#include <limits>
#include <new>
#include <utility>

#include "Common/KrCommon/KrComn_Log.h"
#include "Common/KrCommon/KrComn_Result.h"
#include "Tool/UpdateAgent/luxWrapper.h"

namespace Result = KrCommon::Result;

namespace {

constexpr char kLogSource[] = "luxWrapper";
constexpr wchar_t kLogModule[] = L"UpdateAgent";

constexpr std::wstring_view kLetters = L"cloprtv";
constexpr std::wstring_view kValueCharacters = L"0123456789-.";

void LogFields(const wchar_t* head, const UpdateComponent& component) {
    WY_LOG_INFO << head << L" class = " << component.iClass << L" type = " << component.iType
                << L" version = " << component.strVersion << L" language = " << component.iLanguage
                << L" platform = " << component.iPlatform << L" region = " << component.iRegion
                << L" oem = " << component.iOem;
}

// As the C library reads one into 32 bits, without its care for the locale.
std::int32_t ReadNumber(std::wstring_view value) {
    using Limits = std::numeric_limits<std::int32_t>;
    const bool negative = !value.empty() && value.front() == L'-';
    if (negative)
        value.remove_prefix(1);
    std::int64_t number = 0;
    for (const wchar_t character : value) {
        if (character < L'0' || character > L'9')
            break;
        // One more than the largest number is enough to tell that both ends are left behind.
        number = std::min<std::int64_t>(number * 10 + (character - L'0'),
                                        std::int64_t{Limits::max()} + 1);
    }
    if (negative)
        number = -number;
    return static_cast<std::int32_t>(
        std::clamp<std::int64_t>(number, Limits::min(), Limits::max()));
}

std::int32_t* NumberOf(wchar_t letter, UpdateComponent& component) {
    switch (letter) {
        case L'c':
            return &component.iClass;
        case L't':
            return &component.iType;
        case L'l':
            return &component.iLanguage;
        case L'r':
            return &component.iRegion;
        case L'p':
            return &component.iPlatform;
        case L'o':
            return &component.iOem;
        default:
            return nullptr;
    }
}

void SetField(wchar_t letter, std::wstring_view value, UpdateComponent& component) {
    if (letter == L'v') {
        component.strVersion = value;
    } else if (std::int32_t* const number = NumberOf(letter, component); number != nullptr) {
        *number = ReadNumber(value);
    }
}

std::uint32_t ReadFields(std::wstring_view text, UpdateComponent& component) {
    if (text.empty())
        return Result::kInvalidArgument;
    while (!text.empty()) {
        const wchar_t letter = text.front();
        text.remove_prefix(1);
        const std::wstring_view value = text.substr(0, text.find_first_of(kLetters));
        if (value.find_first_not_of(kValueCharacters) != std::wstring_view::npos)
            return Result::kInvalidArgument;
        SetField(letter, value, component);
        text.remove_prefix(value.size());
    }
    return Result::kSuccess;
}

}  // namespace

std::uint32_t CLuxWrapper::ConvertProductID(std::wstring_view text, UpdateComponent& component) {
    WY_LOG_INFO << L"Parse : " << text;
    std::uint32_t result = Result::kFailure;
    try {
        result = ReadFields(text, component);
    } catch (const std::bad_alloc&) {
        return result;
    }
    if (Result::Succeeded(result))
        LogFields(L"Result => UpdateComponent:", component);
    return result;
}

std::uint32_t CLuxWrapper::ConvertProductID(const UpdateComponent& component, std::wstring& text) {
    LogFields(L"Parse UpdateComponent:", component);
    try {
        std::wstring result = L"c" + std::to_wstring(component.iClass);
        result += L"t" + std::to_wstring(component.iType);
        result += L"v" + component.strVersion;
        result += L"l" + std::to_wstring(component.iLanguage);
        result += L"p" + std::to_wstring(component.iPlatform);
        result += L"r" + std::to_wstring(component.iRegion);
        result += L"o" + std::to_wstring(component.iOem);
        text = std::move(result);
    } catch (const std::bad_alloc&) {
        return Result::kFailure;
    }
    WY_LOG_INFO << L"Result:" << text;
    return Result::kSuccess;
}
