// What of the settings lies on this machine.
#include <fmt/format.h>
#include <json/value.h>

#include <functional>

#include "Common/KrCommon/KrComn_Exception.h"
#include "Common/KrCommon/KrComn_Reg.h"
#include "Common/KrCommon/KrComn_Registry.h"
#include "Common/KrCommon/KrComn_String.h"
#include "Common/KrCommon/KrComn_StringCrypt.h"
#include "Common/KrCommon/KrComn_Windows.h"
#include "lib/wycommon/WyCommon_Paths.h"
#include "wyctl/Commands.h"
#include "wyctl/ProductIdentity.h"
#include "wyctl/SettingsCommands.h"
#include "wyctl/TextTable.h"

namespace WyCtl {

namespace {

namespace Storage = KrCommon::Storage;
using KrCommon::String::ToUtf8;

// A key below the product's; what cannot be read is null.
class ProductKey {
public:
    ProductKey(Context& context, const wchar_t* subKey) {
        AdoptLibraryIdentity(context);
        m_strPath = WyCommon::Utility::GetProductRegistryKey() + subKey;
    }

    std::string Path() const { return "HKLM\\" + ToUtf8(m_strPath); }
    Json::Value Text(const wchar_t* name) const {
        return Read(
            [&](Storage::Registry& key) { return ToUtf8(key.ReadString(name, std::wstring())); });
    }
    Json::Value Number(const wchar_t* name) const {
        return Read([&](Storage::Registry& key) { return Json::UInt(key.ReadDword(name, 0)); });
    }

private:
    Json::Value Read(const std::function<Json::Value(Storage::Registry&)>& read) const {
        try {
            Storage::Registry key(Storage::Reg::ProductView());
            key.OpenForRead(
                Storage::Key(Storage::Key::kRegistry, HKEY_LOCAL_MACHINE, m_strPath.c_str()), {});
            return read(key);
        } catch (Storage::Exception* raised) {
            const KrCommon::Exception::Caught caught(raised);
            return Json::nullValue;
        }
    }

    std::wstring m_strPath;
};

// The name of the account; null for none, and for a cipher that cannot be read.
Json::Value Deciphered(const Json::Value& cipher) {
    constexpr std::size_t kDigitsOfByte = 2;
    std::string plain;
    const std::string digits = cipher.asString();
    return KrCommon::Cryptograph::DecryptStringA_Sub(plain, digits, digits.size() / kDigitsOfByte)
               ? Json::Value(plain)
               : Json::Value();
}

struct Line {
    const char* member;
    const char* title;
    Json::Value value;
};

std::string ForPeople(const Json::Value& value) {
    if (value.isNull()) {
        return "-";
    }
    return value.isBool() ? (value.asBool() ? "yes" : "no") : Printable(value.asString());
}

void Show(Context& context, const ProductKey& key, std::initializer_list<Line> lines) {
    Json::Value answer(Json::objectValue);
    answer["ok"] = true;
    answer["from"] = key.Path();
    std::string text = key.Path() + "\n";
    for (const Line& line : lines) {
        answer[line.member] = line.value;
        text += fmt::format("  {:<10}{}\n", line.title, ForPeople(line.value));
    }
    if (context.Options().json) {
        context.PrintJson(answer);
    } else {
        context.Screen().Out(text);
    }
}

}  // namespace

void RunProxyShow(Context& context) {
    const ProductKey key(context, L"\\Proxy");
    const Json::Value enable = key.Number(L"Enable");
    const Json::Value password = key.Text(L"Password");
    Show(context, key,
         {{"server", "server", key.Text(L"Server")},
          {"port", "port", key.Number(L"Port")},
          {"enabled", "on", enable.isNull() ? enable : Json::Value(enable.asUInt() != 0)},
          {"user", "user", Deciphered(key.Text(L"UserName"))},
          {"hasPassword", "password", !password.asString().empty()}});
}

void RunIdentifierShow(Context& context) {
    const ProductKey key(context, L"");
    Show(context, key,
         {{"SpnGuid", "SpnGuid", key.Text(L"SpnGuid")},
          {"SpnId2", "SpnId2", key.Text(L"SpnId2")},
          {"SpnId3", "SpnId3", key.Text(L"SpnId3")},
          {"SpnId4", "SpnId4", key.Text(L"SpnId4")}});
}

void RunReamerShow(Context& context) {
    const ProductKey key(context, L"\\Reamer");
    Show(context, key, {{"status", "status", key.Number(L"Enable")}});
}

void RunDebugLogSet(Context& context, bool enable, const std::string& level) {
    LogLevelOptions options;
    options.enable = enable;
    options.level = level;
    RunLogLevel(context, options);
}

void RunDebugLogShow(Context& context) {
    LogLevelOptions options;
    options.folder = true;
    RunLogLevel(context, options);
}

}  // namespace WyCtl
