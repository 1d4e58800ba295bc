#include "lib/wycommon/WyLocaleHelper.h"

#include "Common/KrCommon/KrComn_Log.h"
#include "Common/KrCommon/KrComn_Result.h"
#include "lib/wycommon/WyCommon_JsonDb.h"
#include "lib/wycommon/WyCommon_JsonDocument.h"

namespace WyCommon {

namespace {

constexpr char kLogSource[] = "WyLocaleHelper";
constexpr wchar_t kLogModule[] = L"WyCommon";
constexpr wchar_t kFallback[] = L"EN-US";

// The name of the first row with this language; false without one.
bool FindRow(JsonDocument& mapping, std::uint32_t language, std::wstring& name) {
    const std::uint32_t count = mapping.size();
    for (std::uint32_t i = 0; i < count; ++i) {
        JsonDocument row = mapping[i];
        if (row[L"lcid"].AsUInt32() == language) {
            name = row[L"localeName"].AsString();
            return true;
        }
    }
    return false;
}

}  // namespace

LocaleHelper& LocaleHelper::Instance() {
    static LocaleHelper s_Helper;
    return s_Helper;
}

std::uint32_t LocaleHelper::GetLocaleName(std::wstring& out, const std::wstring& path) {
    KrCommon::Synchronize::SingleLock lock(m_csName);
    if (!m_localName.empty()) {
        WY_LOG_INFO << L"m_localName exist, just return it";
        out = m_localName;
        return KrCommon::Result::kSuccess;
    }
    JsonDocument document;
    const std::uint32_t result = JsonDb::Load(path, document);
    if (KrCommon::Result::Failed(result) || document.isNull()) {
        WY_LOG_ERROR << L"Parse localMapping file error: " << WyHex{result};
        return result;
    }
    const std::uint32_t language = m_fnLanguage();
    JsonDocument mapping = document[L"localMapping"];
    if (FindRow(mapping, language, m_localName)) {
        out = m_localName;
        WY_LOG_INFO << L"Get locale name, lcid: " << language << L", localeName: " << m_localName;
        return KrCommon::Result::kSuccess;
    }
    m_localName = document[L"defaultLocal"].AsString();
    out = m_localName;
    WY_LOG_INFO << L"Get locale name, unsupport language, return en-us, lcid: " << language;
    return KrCommon::Result::kSuccess;
}

std::uint32_t Utility::GetLocaleName(std::wstring& out, const std::wstring& path) {
    out.clear();
    const std::uint32_t result = LocaleHelper::Instance().GetLocaleName(out, path);
    if (out.empty()) {
        out = kFallback;
    }
    return result;
}

}  // namespace WyCommon
