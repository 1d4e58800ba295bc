#include "lib/wycommon/WyCommon_Proxy.h"

#include <utility>

#include "Common/KrCommon/KrComn_Reg.h"
#include "Common/KrCommon/KrComn_Result.h"
#include "Common/KrCommon/KrComn_StringCrypt.h"
#include "Common/KrCommon/KrComn_Windows.h"
#include "lib/wycommon/WyCommon_Paths.h"

namespace WyCommon::Utility {

namespace {

namespace Reg = KrCommon::Storage::Reg;
namespace Result = KrCommon::Result;

// Stores values of one key, and remembers whether one of them failed.
class Store {
public:
    explicit Store(std::wstring path) : m_strPath(std::move(path)) {}

    template <class Value>
    void Put(const wchar_t* name, const Value& value) {
        if (!Reg::StoreValue(HKEY_LOCAL_MACHINE, m_strPath, name, value, m_uiView, nullptr))
            m_bFailed = true;
    }

    // Gives what is stored: nothing for nothing, otherwise the cipher.
    std::wstring PutEnciphered(const wchar_t* name, const std::wstring& plain) {
        std::wstring cipher;
        if (!plain.empty() && !KrCommon::Cryptograph::EncryptStringW(cipher, plain)) {
            m_bFailed = true;
        } else {
            Put(name, cipher);
        }
        return cipher;
    }

    bool HasFailed() const { return m_bFailed; }

private:
    const std::wstring m_strPath;
    const std::uint32_t m_uiView = Reg::ProductView();
    bool m_bFailed = false;
};

}  // namespace

std::uint32_t SetProxy(ProxySettings& state, bool enable, const std::wstring& server,
                       std::uint32_t port, const std::wstring& user,
                       const std::wstring& password) noexcept try {
    ProxySettings settings;
    settings.server = server;
    settings.port = port;
    settings.enable = enable;
    Store store(GetProductRegistryKey() + L"\\Proxy");
    store.Put(L"Server", server);
    store.Put(L"Port", port);
    store.Put(L"Enable", std::uint32_t{enable});
    settings.userName = store.PutEnciphered(L"UserName", user);
    settings.password = store.PutEnciphered(L"Password", password);
    if (store.HasFailed())
        return Result::kSettingsNotStored;
    state = std::move(settings);
    return Result::kSuccess;
} catch (...) {
    return Result::kSettingsNotStored;
}

}  // namespace WyCommon::Utility
