#include "lib/wycommon/WyCommon_Paths.h"

#include <utility>

#include "Common/KrCommon/KrComn_String.h"
#include "lib/wycommon/WyCommon_CsidlTokens.h"
#include "lib/wycommon/WyCommon_PathsPlatform.h"
#include "utilMode/FrwkMode.h"
#include "utilMode/FrwkPlatform.h"

namespace WyCommon::Utility {

namespace {

std::wstring ProductValue(const wchar_t* name) {
    return PathsPlatform::LoadMachineValue(GetProductRegistryKey(), name);
}

std::wstring DataRoot(const wchar_t* token) {
    return JoinPath(JoinPath(ExpandCsidlPath(token), L"Korvex Data"), Frwk::Mode::GetWyvarionId());
}

std::wstring Made(std::wstring folder) {
    PathsPlatform::EnsureFolder(folder);
    return folder;
}

}  // namespace

std::wstring JoinPath(std::wstring path, std::wstring_view part) {
    KrCommon::String::AppendSeparator(path);
    path += part;
    return path;
}

std::wstring GetProductRegistryKey() {
    return L"SOFTWARE\\KorvexData\\" + Frwk::Mode::GetWyvarionId();
}

std::wstring GetProductPath() {
    return ProductValue(L"ProductPath");
}

std::wstring GetWinGuid() {
    return ProductValue(L"WinGuid");
}

std::wstring GetAgentVersion() {
    return ProductValue(L"AgentVersion");
}

std::wstring GetProductId() {
    return ProductValue(L"ProductId");
}

std::wstring GetVendorId() {
    return ProductValue(L"VendorId");
}

std::wstring GetProductVersion() {
    return ProductValue(L"ProductVersion");
}

std::wstring GetProductPathOrModuleFolder() {
    std::wstring folder = GetProductPath();
    return folder.empty() ? GetHostModuleFolder() : folder;
}

std::wstring GetHostModuleFolder() {
    return std::wstring(KrCommon::String::RemoveFileName(Frwk::Platform::ExecutablePath()));
}

std::wstring GetConfigurationFolder() {
    return JoinPath(GetProductPathOrModuleFolder(), L"Configuration");
}

std::wstring GetCacheFolder() {
    return JoinPath(GetProductPathOrModuleFolder(), L"Cache");
}

std::wstring GetWin32Folder() {
    std::wstring base = GetProductPathOrModuleFolder();
    return PathsPlatform::Is64BitSystem() ? JoinPath(std::move(base), L"win32") : base;
}

std::wstring GetCommonDataRoot() {
    return DataRoot(L"#CSIDL_COMMON_APPDATA#");
}

std::wstring GetLocalDataRoot() {
    return DataRoot(L"#CSIDL_LOCAL_APPDATA#");
}

std::wstring GetCommonCacheFolder() {
    return Made(JoinPath(GetCommonDataRoot(), L"Cache"));
}

std::wstring GetExternalFolder(bool temporary) {
    return Made(JoinPath(GetCommonDataRoot(), temporary ? L"ExternalTmp" : L"External"));
}

std::wstring GetLocalCacheFolder() {
    return Made(JoinPath(GetLocalDataRoot(), L"Cache"));
}

std::wstring GetMediaProductFolder(const std::wstring& source) {
    return JoinPath(source, PathsPlatform::Is64BitSystem() ? L"x64\\product" : L"win32\\product");
}

std::wstring ExpandCsidlPath(const std::wstring& text) {
    return Csidl::Expand(text, PathsPlatform::FolderPath);
}

}  // namespace WyCommon::Utility
