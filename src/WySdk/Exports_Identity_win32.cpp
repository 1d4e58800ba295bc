// The exports of settings that are stored in the registry of the machine, in this very process.

#include <WySdk/WySdk.h>

#include <string>

#include "Common/KrCommon/KrComn_Log.h"
#include "Common/KrCommon/KrComn_Reg.h"
#include "Common/KrCommon/KrComn_Result.h"
#include "Common/KrCommon/KrComn_Windows.h"
#include "WySdk/ApiCall.h"
#include "WySdk/SdkJson.h"
#include "WySdk/SdkState.h"
#include "lib/wycommon/WyCommon_Paths.h"

namespace {

namespace Reg = KrCommon::Storage::Reg;
namespace Result = KrCommon::Result;
namespace Utility = WyCommon::Utility;

constexpr char kLogSource[] = "Exports_Identity";
constexpr wchar_t kLogModule[] = L"WySdk";

// By this event the service learns of a new reamer status.
constexpr uint32_t kReamerStatusEvent = 32769;

// The identifiers' values of the product key, in the order of the arguments.
constexpr const wchar_t* kIdentifierValues[] = {L"SpnGuid", L"SpnId2", L"SpnId3", L"SpnId4"};

// Writes identifiers until one cannot be written, whose code it keeps.
class IdentifierWriter {
public:
    void Put(const wchar_t* name, const wchar_t* value) {
        uint32_t error = 0;
        if (Result::Succeeded(m_uiResult) &&
            !Reg::StoreValue(HKEY_LOCAL_MACHINE, m_strPath.c_str(), name, value, m_uiView, &error))
            m_uiResult = Result::FromSystem(error);
    }
    void PutUnlessEmpty(const wchar_t* name, const wchar_t* value) {
        if (value != nullptr && *value != L'\0')
            Put(name, value);
    }
    uint32_t GetResult() const { return m_uiResult; }

private:
    const std::wstring m_strPath = Utility::GetProductRegistryKey();
    const uint32_t m_uiView = Reg::ProductView();
    uint32_t m_uiResult = Result::kSuccess;
};

uint32_t SetReamerStatus(uint32_t status) {
    // The service is told in any case.
    Reg::StoreValueWithAllAccess(HKEY_LOCAL_MACHINE, Utility::GetProductRegistryKey() + L"\\Reamer",
                                 L"Enable", status, Reg::ProductView(), nullptr);
    JsonDocument parameter;
    JsonDocument member = MemberOf(parameter, L"status");
    member.SetUInt32(status);
    RequireMemory(member);
    const std::wstring text = parameter.ToCompactString();
    RequireMemory(parameter);
    return WyPublishEventEx(kReamerStatusEvent, text.c_str());
}

}  // namespace

uint32_t WYAPI WySetProxy(const wchar_t* server, uint32_t port, const wchar_t* user,
                          const wchar_t* password, bool enable) {
    WY_LOG_INFO << L"WySetProxy[wszServerAddr=" << server << L"][dwPort=" << port << L"][wszUser="
                << user << L"][wszPass=" << password << L"][bEnable=" << enable << L"]";
    return Guarded(L"WySetProxy", [=] {
        const boost::mutex::scoped_lock lock(g_ApiMutex);
        return Utility::SetProxy(g_ProxySettings, enable, server, port, user, password);
    });
}

uint32_t WYAPI WySetIdentifier(const wchar_t* first, const wchar_t* second, const wchar_t* third) {
    return Guarded(L"WySetIdentifier", [=] {
        IdentifierWriter writer;
        writer.Put(kIdentifierValues[0], first);
        writer.Put(kIdentifierValues[1], second);
        writer.Put(kIdentifierValues[2], third);
        return writer.GetResult();
    });
}

uint32_t WYAPI WySetIdentifierEx(const wchar_t* first, const wchar_t* second, const wchar_t* third,
                                 const wchar_t* fourth) {
    return Guarded(L"WySetIdentifierEx", [=] {
        IdentifierWriter writer;
        writer.Put(kIdentifierValues[0], first);
        writer.Put(kIdentifierValues[1], second);
        writer.PutUnlessEmpty(kIdentifierValues[2], third);
        writer.PutUnlessEmpty(kIdentifierValues[3], fourth);
        return writer.GetResult();
    });
}

uint32_t WYAPI WySetReamerStatus(uint32_t status) {
    return Guarded(L"WySetReamerStatus", [status] { return SetReamerStatus(status); });
}
