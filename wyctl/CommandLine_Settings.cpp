#include "wyctl/CommandLine_Settings.h"

#include <array>
#include <cstdint>
#include <memory>
#include <string>

#include "wyctl/CommandRegistry.h"
#include "wyctl/Errors.h"
#include "wyctl/SettingsCommands.h"

namespace WyCtl {

namespace {

// A command that needs no more than the context.
CommandRegistry::Runner Simply(void (*run)(Context&)) {
    return [run](Context& context) {
        run(context);
        return kExitSuccess;
    };
}

void AddProxy(CommandRegistry& commands) {
    CLI::App* const group = commands.AddGroup("proxy", "The proxy server of the product");
    const auto options = std::make_shared<ProxyOptions>();
    CLI::App* const set =
        commands.Add(*group, "set", "Store server and account", [options](Context& context) {
            RunProxySet(context, *options);
            return kExitSuccess;
        });
    set->add_option("HOST", options->host, "Name or address of the server")->required();
    set->add_option("PORT", options->port, "Its port")->required();
    set->add_option("--user", options->user,
                    "Name of the account; its password is asked for on the terminal")
        ->option_text("NAME");
    set->add_option("--password-file", options->passwordFile,
                    "The password is the first line of this file, '-': of standard input")
        ->option_text("FILE");
    set->add_flag("!--off", options->enable, "Store it, but do not use it");
    commands.Add(*group, "clear", "Store that there is none", Simply(RunProxyClear));
    commands.Add(*group, "show", "Show what is stored, without the password", Simply(RunProxyShow));
}

void AddIdentifier(CommandRegistry& commands) {
    CLI::App* const group = commands.AddGroup("identifier", "The identifiers of the application");
    const auto options = std::make_shared<IdentifierOptions>();
    CLI::App* const set =
        commands.Add(*group, "set", "Store two to four of them", [options](Context& context) {
            RunIdentifierSet(context, *options);
            return kExitSuccess;
        });
    set->add_option("FIRST", options->first, "Becomes SpnGuid")->required();
    set->add_option("SECOND", options->second, "Becomes SpnId2")->required();
    set->add_option("THIRD", options->third,
                    "Becomes SpnId3; an empty one is stored only as the last");
    set->add_option("FOURTH", options->fourth, "Becomes SpnId4, unless it is empty");
    commands.Add(*group, "show", "Show what is stored", Simply(RunIdentifierShow));
}

void AddReamer(CommandRegistry& commands) {
    CLI::App* const group = commands.AddGroup("reamer", "The status of the reamer service");
    const auto status = std::make_shared<std::string>();
    commands
        .Add(*group, "set", "Store it and tell the service",
             [status](Context& context) {
                 RunReamerSet(context, *status);
                 return kExitSuccess;
             })
        ->add_option("STATUS", *status, "on, off, or a number")
        ->required();
    commands.Add(*group, "show", "Show what is stored", Simply(RunReamerShow));
}

void AddDebugLog(CommandRegistry& commands) {
    CLI::App* const group =
        commands.AddGroup("debuglog", "Switch and level of the product's debug log");
    const auto level = std::make_shared<std::string>();
    for (const bool enable : {true, false}) {
        commands
            .Add(*group, enable ? "on" : "off",
                 enable ? "Switch it on in both kinds of session" : "Switch it off",
                 [level, enable](Context& context) {
                     RunDebugLogSet(context, enable, *level);
                     return kExitSuccess;
                 })
            ->add_option("LEVEL", *level, "error, warning, info, debug, or a mask; none: as it is");
    }
    commands.Add(*group, "show", "Show switch, level and folder", Simply(RunDebugLogShow));
}

// A setting of one or two texts that the service keeps.
struct ServiceSetting {
    const char* name;
    const char* about;
    std::array<const char*, 2> arguments;
    std::array<const char*, 2> meanings;
    void (*run)(Context&, const std::array<std::string, 2>&);
};

void AddServiceSetting(CommandRegistry& commands, const ServiceSetting& setting) {
    CLI::App* const group = commands.AddGroup(setting.name, setting.about);
    const auto texts = std::make_shared<std::array<std::string, 2>>();
    CLI::App* const set =
        commands.Add(*group, "set", "Tell the service", [texts, run = setting.run](Context& c) {
            run(c, *texts);
            return kExitSuccess;
        });
    for (std::size_t i = 0; i < texts->size() && setting.arguments[i] != nullptr; ++i) {
        set->add_option(setting.arguments[i], (*texts)[i], setting.meanings[i])->required();
    }
}

}  // namespace

void AddSettingsCommands(CommandRegistry& commands) {
    AddProxy(commands);
    AddIdentifier(commands);
    AddReamer(commands);
    AddDebugLog(commands);
    AddServiceSetting(commands,
                      {"language",
                       "The language of the product, which the service keeps",
                       {"LANGUAGE", nullptr},
                       {"Its name (de-DE) or number (1031, 0x407)", nullptr},
                       [](Context& c, const auto& texts) { RunLanguageSet(c, texts[0]); }});
    AddServiceSetting(
        commands, {"schedule",
                   "When the scheduled scan starts, which the service keeps",
                   {"DAY", "HOUR"},
                   {"The day of the week, 0 to 7, as the service counts", "0 to 23"},
                   [](Context& c, const auto& texts) { RunScheduleSet(c, texts[0], texts[1]); }});
    AddServiceSetting(commands,
                      {"urls",
                       "The addresses of two servers, which the service keeps",
                       {"FEEDBACK", "REAMER"},
                       {"http://... or https://...", "likewise"},
                       [](Context& c, const auto& texts) { RunUrlsSet(c, texts[0], texts[1]); }});
}

}  // namespace WyCtl
