#include "utilMode/FrwkMode.h"

#include <algorithm>
#include <atomic>
#include <string_view>

#include "Common/KrCommon/KrComn_Log.h"
#include "Common/KrCommon/KrComn_String.h"
#include "utilMode/FrwkPlatform.h"

namespace String = KrCommon::String;

namespace {

constexpr const char* kLogSource = "FrwkMode";
constexpr const wchar_t* kLogModule = L"utilMode";

constexpr Frwk::Mode::Row kTable[] = {
    {0, L"Wyvarion", L""},
    {Frwk::Mode::kTavrenoxMode, L"Tavrenox", L"P"},
    {2, L"Mirdoshale", L"C"},
    {-1, L"EndFlag", L"EndFlag"},
};

// Constant-initialised: static objects of the library ask for the identity.
constexpr std::size_t kIdCapacity = 260;
constinit wchar_t s_wszWyId[kIdCapacity] = {};

// The buffer is read only while it is set, and does not change then. A thread that finds it empty
// works with what it found itself, whether or not it is the one that gets to fill the buffer.
enum class Fill { kEmpty, kBeingWritten, kSet };
constinit std::atomic<Fill> s_Fill{Fill::kEmpty};

void StoreId(std::wstring_view name) {
    const std::size_t length = std::min(name.size(), kIdCapacity - 1);
    std::copy_n(name.begin(), length, s_wszWyId);
    s_wszWyId[length] = L'\0';
    s_Fill.store(s_wszWyId[0] != L'\0' ? Fill::kSet : Fill::kEmpty, std::memory_order_release);
}

void StoreFirstId(std::wstring_view name) {
    Fill expected = Fill::kEmpty;
    if (s_Fill.compare_exchange_strong(expected, Fill::kBeingWritten, std::memory_order_acquire)) {
        StoreId(name);
    }
}

// The text behind the last "_" of the executable's name without its last extension.
std::wstring ExecutableSuffix() {
    const std::wstring path = Frwk::Platform::ExecutablePath();
    std::wstring name(String::GetFileName(path));
    name = name.substr(0, name.rfind(L'.'));
    const std::size_t underscore = name.rfind(L'_');
    return underscore == std::wstring::npos ? std::wstring() : name.substr(underscore + 1);
}

const Frwk::Mode::Row* CurrentRow() {
    const std::wstring id = Frwk::Mode::GetWyvarionId();
    const Frwk::Mode::Row* row = Frwk::Mode::Table();
    while (!Frwk::Mode::IsEnd(*row) && !String::EqualNoCase(id, row->wszName)) {
        ++row;
    }
    return Frwk::Mode::IsEnd(*row) ? nullptr : row;
}

}  // namespace

const Frwk::Mode::Row* Frwk::Mode::Table() {
    return kTable;
}

bool Frwk::Mode::IsEnd(const Row& row) {
    return static_cast<std::uint32_t>(row.iModeId) > 0xfffffffeU;
}

std::wstring Frwk::Mode::GetWyvarionId() {
    if (s_Fill.load(std::memory_order_acquire) == Fill::kSet) {
        WY_LOG_DEBUG << L"s_wszWyId = " << s_wszWyId;
        return s_wszWyId;
    }
    const std::wstring suffix = ExecutableSuffix();
    for (const Row* row = Table(); !IsEnd(*row); ++row) {
        if (String::EqualNoCase(suffix, row->wszSuffix)) {
            StoreFirstId(row->wszName);
            return row->wszName;
        }
    }
    return {};
}

void Frwk::Mode::SetWyvarionId(const std::wstring& name) {
    StoreId(name);
    WY_LOG_DEBUG << L"[" << L"g_wszWyId" << L"=" << s_wszWyId << L"]";
}

std::int32_t Frwk::Mode::GetModeId() {
    const Row* row = CurrentRow();
    return row != nullptr ? row->iModeId : -1;
}

std::wstring Frwk::Mode::GetModeFileName(const std::wstring& name) {
    const Row* row = CurrentRow();
    return row != nullptr ? WithSuffix(name, row->wszSuffix) : name;
}

std::wstring Frwk::Mode::WithSuffix(const std::wstring& name, const std::wstring& suffix) {
    if (suffix.empty()) {
        return name;
    }
    const std::wstring extension(String::GetExtension(name));
    return String::ReplaceAll(name, extension, L"_" + suffix + extension);
}
