#include "Common/KrCommon/KrComn_ErrorCode.h"
#include "Common/KrCommon/KrComn_String.h"
#include "Common/KrCommon/KrComn_Windows.h"
#include "wyctl/PlanMachine_win32.h"

namespace WyCtl {

namespace {

namespace ErrorCode = KrCommon::ErrorCode;
using Answer = PlanOverlay::Answer;
using Before = PlanStep::Before;
using Kind = PlanStep::Kind;
using RootKey = PlanMachine::RootKey;

constexpr std::uint32_t k64BitView = 2;
// The view of this process.
constexpr std::uint32_t kOwnView = 0;

HKEY HandleOf(RootKey root) {
    return root == RootKey::kCurrentUser ? HKEY_CURRENT_USER : HKEY_LOCAL_MACHINE;
}

bool Is64BitView(std::uint32_t view) {
    return view == k64BitView || sizeof(void*) == sizeof(std::uint64_t);
}

std::wstring Shown(RootKey root, const std::wstring& key) {
    return (root == RootKey::kCurrentUser ? L"HKCU\\" : L"HKLM\\") + key;
}

// The two views of a machine are two places.
std::wstring PlaceOf(RootKey root, const std::wstring& key, std::uint32_t view) {
    std::wstring place = (Is64BitView(view) ? L"64" : L"32") + Shown(root, key);
    KrCommon::String::RemoveSeparator(place);
    return place;
}

// A key of the machine, open for looking.
class OpenKey {
public:
    OpenKey(RootKey root, const std::wstring& key, std::uint32_t view) {
        const REGSAM access = KEY_QUERY_VALUE | (view == k64BitView ? KEY_WOW64_64KEY : 0);
        if (RegOpenKeyExW(HandleOf(root), key.c_str(), 0, access, &m_hKey) != ERROR_SUCCESS) {
            m_hKey = nullptr;
        }
    }
    OpenKey(const OpenKey&) = delete;
    OpenKey& operator=(const OpenKey&) = delete;
    ~OpenKey() {
        if (m_hKey != nullptr) {
            RegCloseKey(m_hKey);
        }
    }
    HKEY Handle() const { return m_hKey; }

private:
    HKEY m_hKey = nullptr;
};

}  // namespace

bool PlanMachine::IsKeyThere(RootKey root, const std::wstring& key, std::uint32_t view) {
    switch (m_Keys.Find(PlaceOf(root, key, view))) {
        case Answer::There:
            return true;
        case Answer::Gone:
            return false;
        case Answer::AsOnMachine:
            break;
    }
    return OpenKey(root, key, view).Handle() != nullptr;
}

bool PlanMachine::FindValue(RootKey root, const std::wstring& key, const std::wstring& name,
                            std::uint32_t view, Value& value) {
    const std::wstring place = PlaceOf(root, key, view) + L"\\\n" + name;
    if (const auto stored = m_Stored.find(place); stored != m_Stored.end()) {
        value = stored->second;
        return value.type != REG_NONE;
    }
    const OpenKey open(root, key, view);
    DWORD type = 0;
    DWORD size = 0;
    if (open.Handle() == nullptr || m_Keys.Find(place) == Answer::Gone ||
        RegQueryValueExW(open.Handle(), name.c_str(), nullptr, &type, nullptr, &size) !=
            ERROR_SUCCESS) {
        return false;
    }
    std::vector<BYTE> data(size + sizeof(wchar_t));
    RegQueryValueExW(open.Handle(), name.c_str(), nullptr, &type, data.data(), &size);
    value.type = type;
    if (type == REG_DWORD && size == sizeof(std::uint32_t)) {
        value.text = std::to_wstring(*reinterpret_cast<const std::uint32_t*>(data.data()));
    } else if (type == REG_SZ) {
        value.text.assign(reinterpret_cast<const wchar_t*>(data.data()), size / sizeof(wchar_t));
        value.text.resize(value.text.find_last_not_of(L'\0') + 1);
    }
    return true;
}

// True when the system would not open this key.
bool PlanMachine::RefuseKey(RootKey root, const std::wstring& key, std::uint32_t* error) {
    if (root == RootKey::kNone) {
        Refuse(L"Root is no root of the registry", error, ErrorCode::kBadArguments);
        return true;
    }
    if (key.starts_with(L'\\')) {
        Refuse(L"a key cannot begin with \\", error, ErrorCode::kBadPathname);
        return true;
    }
    return false;
}

bool PlanMachine::CreateKey(RootKey root, const std::wstring& key, std::uint32_t view,
                            std::uint32_t& error) {
    if (RefuseKey(root, key, &error)) {
        return false;
    }
    Add(Kind::CreateKey, Shown(root, key)).before =
        IsKeyThere(root, key, view) ? Before::Same : Before::Absent;
    m_Keys.Put(PlaceOf(root, key, view), {});
    return true;
}

bool PlanMachine::DeleteKey(RootKey root, const std::wstring& key) {
    if (RefuseKey(root, key, nullptr)) {
        return false;
    }
    if (key.empty()) {
        return Refuse(L"a root of the registry cannot be deleted", nullptr, 0);
    }
    if (IsKeyThere(root, key, kOwnView)) {
        Add(Kind::DeleteKey, Shown(root, key)).before = Before::There;
        m_Keys.Remove(PlaceOf(root, key, kOwnView));
    }
    return true;
}

bool PlanMachine::Store(RootKey root, const std::wstring& key, const std::wstring& name,
                        const Value& value, std::uint32_t view, std::uint32_t& error) {
    if (RefuseKey(root, key, &error)) {
        return false;
    }
    Value old;
    const bool there = FindValue(root, key, name, view, old);
    PlanStep& step = Add(Kind::WriteValue, Shown(root, key) + L"\\" + name);
    step.data = value.text;
    if (there) {
        step.before =
            old.type == value.type && old.text == value.text ? Before::Same : Before::There;
    }
    m_Keys.Put(PlaceOf(root, key, view), {});
    m_Stored[PlaceOf(root, key, view) + L"\\\n" + name] = value;
    return true;
}

bool PlanMachine::StoreText(RootKey root, const std::wstring& key, const std::wstring& name,
                            const std::wstring& value, bool, std::uint32_t view,
                            std::uint32_t& error) {
    return Store(root, key, name, {REG_SZ, value}, view, error);
}

bool PlanMachine::StoreNumber(RootKey root, const std::wstring& key, const std::wstring& name,
                              std::uint32_t value, bool, std::uint32_t view, std::uint32_t& error) {
    return Store(root, key, name, {REG_DWORD, std::to_wstring(value)}, view, error);
}

bool PlanMachine::DeleteValue(RootKey root, const std::wstring& key, const std::wstring& name,
                              std::uint32_t view, std::uint32_t& error) {
    if (RefuseKey(root, key, &error)) {
        return false;
    }
    Value old;
    if (!FindValue(root, key, name, view, old)) {
        error = ErrorCode::kFileNotFound;
        return false;
    }
    Add(Kind::DeleteValue, Shown(root, key) + L"\\" + name).before = Before::There;
    m_Stored[PlaceOf(root, key, view) + L"\\\n" + name] = {REG_NONE, {}};
    return true;
}

}  // namespace WyCtl
