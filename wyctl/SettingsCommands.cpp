#include "wyctl/SettingsCommands.h"

#include <fmt/format.h>
#include <json/value.h>

#include "Common/KrCommon/KrComn_Result.h"
#include "Common/KrCommon/KrComn_String.h"
#include "wyctl/Errors.h"
#include "wyctl/JsonText.h"
#include "wyctl/Secret.h"
#include "wyctl/SettingsInput.h"
#include "wyctl/TextTable.h"

namespace WyCtl {

namespace {

using KrCommon::String::FromUtf8;

// Tells what an export made of a setting, and raises CallFailed for a negative code.
void Report(Context& context, const char* function, std::uint32_t code, const std::string& text) {
    if (KrCommon::Result::Failed(code)) {
        throw CallFailed(function, {code, {}});
    }
    if (!context.Options().json) {
        context.Screen().Out(text + "\n");
        return;
    }
    Json::Value answer(Json::objectValue);
    answer["ok"] = true;
    answer["function"] = function;
    AddResultCode(answer, code);
    context.PrintJson(answer);
}

void StoreProxy(Context& context, const std::wstring& host, std::uint32_t port,
                const std::wstring& user, const std::wstring& password, bool enable,
                const std::string& text) {
    const auto set = context.Export<decltype(&WySetProxy)>("WySetProxy");
    Report(context, "WySetProxy", set(host.c_str(), port, user.c_str(), password.c_str(), enable),
           text);
    if (!password.empty()) {
        context.Screen().Err(
            "note: a debug log that takes level info has this password in clear now\n");
    }
}

}  // namespace

void RunProxySet(Context& context, const ProxyOptions& options) {
    const std::wstring host = ParseHost(options.host);
    const std::uint32_t port = ParsePort(options.port);
    if (options.user.empty() && !options.passwordFile.empty()) {
        throw UsageError("a password needs the --user that it belongs to");
    }
    const Secret password = options.user.empty()
                                ? Secret({})
                                : ReadPassword(context, options.passwordFile,
                                               "Password of " + Printable(options.user) + ": ");
    StoreProxy(context, host, port, FromUtf8(options.user), password.Text(), options.enable,
               fmt::format("proxy {}:{} stored, {}", Printable(options.host), port,
                           options.enable ? "on" : "off"));
}

void RunProxyClear(Context& context) {
    StoreProxy(context, {}, 0, {}, {}, false, "no proxy stored, off");
}

void RunIdentifierSet(Context& context, const IdentifierOptions& options) {
    const std::wstring first = FromUtf8(options.first);
    const std::wstring second = FromUtf8(options.second);
    const std::wstring third = FromUtf8(options.third.value_or(""));
    if (options.third && !options.fourth) {
        const auto set = context.Export<decltype(&WySetIdentifier)>("WySetIdentifier");
        Report(context, "WySetIdentifier", set(first.c_str(), second.c_str(), third.c_str()),
               "3 identifiers stored");
        return;
    }
    const std::wstring fourth = FromUtf8(options.fourth.value_or(""));
    const auto set = context.Export<decltype(&WySetIdentifierEx)>("WySetIdentifierEx");
    const int stored = 2 + (third.empty() ? 0 : 1) + (fourth.empty() ? 0 : 1);
    Report(context, "WySetIdentifierEx",
           set(first.c_str(), second.c_str(), third.c_str(), fourth.c_str()),
           fmt::format("{} identifiers stored", stored));
}

void RunReamerSet(Context& context, const std::string& status) {
    const std::uint32_t number = ParseStatus(status);
    const auto set = context.Export<decltype(&WySetReamerStatus)>("WySetReamerStatus");
    Report(context, "WySetReamerStatus", set(number),
           fmt::format("reamer status {} told to the service", number));
}

void RunLanguageSet(Context& context, const std::string& language) {
    const std::uint32_t lcid = ParseLanguage(language);
    const std::uint32_t code = context.Call("WySetProductLcid", {std::uint64_t{lcid}}).code;
    Report(context, "WySetProductLcid", code,
           fmt::format("language {} ({}) told to the service", lcid, LanguageName(lcid)));
}

void RunScheduleSet(Context& context, const std::string& day, const std::string& hour) {
    const std::uint64_t dayOfWeek = ParseDay(day);
    const std::uint64_t fullHour = ParseHour(hour);
    const std::uint32_t code = context.Call("WySetScheduleScanTime", {dayOfWeek, fullHour}).code;
    Report(context, "WySetScheduleScanTime", code,
           fmt::format("scan on day {} at {:02}:00 told to the service", dayOfWeek, fullHour));
}

void RunUrlsSet(Context& context, const std::string& feedback, const std::string& reamer) {
    const std::uint32_t code =
        context.Call("WySetInspectUrl", {ParseUrl(feedback), ParseUrl(reamer)}).code;
    Report(context, "WySetInspectUrl", code, "addresses of both servers told to the service");
}

}  // namespace WyCtl
