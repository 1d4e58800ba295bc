#include "Common/KrCommon/KrComn_CreationNames.h"
#include "Common/KrCommon/KrComn_OsVersion.h"

namespace KrCommon {

namespace {

constexpr wchar_t kGlobalPrefix[] = L"Global\\";
constexpr wchar_t kLocalPrefix[] = L"Local\\";

bool HasNamespaces() {
    return OsVersion::Is(OsVersion::Condition::kNt50OrLater) && OsVersion::GetError() == 0;
}

// False for an empty name.
bool FormName(const wchar_t* prefix, const std::wstring& name, std::wstring& result) {
    result.clear();
    if (name.empty())
        return false;
    if (HasNamespaces() && name.find(prefix) == std::wstring::npos)
        result = prefix;
    result += name;
    return true;
}

}  // namespace

CreationNames::CreationNames(const std::wstring& name) {
    if (FormName(kGlobalPrefix, name, m_strGlobal))
        FormName(kLocalPrefix, name, m_strLocal);
}

CreationNames::~CreationNames() = default;

}  // namespace KrCommon
