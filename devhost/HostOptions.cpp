#include "devhost/HostOptions.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <sstream>

namespace DevHost {

namespace {

constexpr const char* kDescription =
    "WySvcHost: a development host for the WySdk client library.\n"
    "\n"
    "It stands in for the product's service on a developer's machine: it listens on the\n"
    "service's endpoint, answers every function of the library, and delivers events. It is a\n"
    "tool and not the product's service: it repairs, installs and updates nothing, changes no\n"
    "setting of the machine, removes files only with --allow-remove and only below --root, and\n"
    "ends processes only with --allow-kill. Comparison data of the product's servers is made up\n"
    "and marked as a sample.\n";

constexpr const char* kFooter =
    "The line \"ready\" on the standard output tells that it listens. It stops at Ctrl+C, as a\n"
    "service when the service manager stops it.\n"
    "Exit status: 0 stopped, 1 failed, 2 bad usage, 3 another host of this mode runs, 4 cannot\n"
    "listen, 86 ended by a fault script.";

void Declare(CLI::App& app, HostOptions& options) {
    app.footer(kFooter);
    app.add_option("--mode", options.mode, "Product identity: 0 Wyvarion, 1 Tavrenox")
        ->check(CLI::Range(0, 1))
        ->capture_default_str();
    app.add_option("--root", options.root,
                   "Folder that the file searches walk; every disk drive of a request means it");
    app.add_flag("--allow-remove", options.allowRemove, "Remove files when asked, below --root");
    app.add_flag("--allow-kill", options.allowKill, "End processes when asked");
    app.add_option("--fault", options.fault, "Fault script, or a file with one");
    app.add_option("--faults", options.faultsFile, "File with faults in JSON");
    app.add_option_function<std::vector<std::string>>(
           "--emit",
           [&options](const std::vector<std::string>& texts) {
               for (const std::string& text : texts) {
                   const std::optional<Emission> emission = ParseEmission(text);
                   if (!emission.has_value())
                       throw CLI::ValidationError("--emit", "\"" + text + "\" is not ID:MS");
                   options.emissions.push_back(*emission);
               }
           },
           "Publish the event ID every MS milliseconds; may be given again")
        ->option_text("ID:MS")
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    app.add_option("--ready-event", options.readyEvent, "Named event to set when the host listens");
    app.add_option("--stop-event", options.stopEvent, "Named event that stops the host");
    app.add_option("--run-seconds", options.runSeconds, "Stop after this many seconds");
    app.add_option("--log", options.logFile, "File that log lines are appended to");
    app.add_option("--parent", options.parentId, "Stop when this process ends");
    app.add_flag("--service", options.service,
                 "Run as a Windows service; for the command line of the service manager alone");
    app.add_option("--successor-of", options.successorOf)->group("");
    app.add_option("--absence", options.absenceMs)->group("");
}

}  // namespace

std::optional<HostOptions> ParseHostOptions(const std::vector<std::string>& arguments, int& status,
                                            std::string& text) {
    HostOptions options;
    CLI::App app(kDescription, "WySvcHost");
    Declare(app, options);
    std::vector<std::string> reversed(arguments.rbegin(), arguments.rend());
    try {
        app.parse(reversed);
    } catch (const CLI::ParseError& error) {
        std::ostringstream out;
        const int code = app.exit(error, out, out);
        status = code == 0 ? ExitStatus::kClean : ExitStatus::kBadUsage;
        text = out.str();
        return std::nullopt;
    }
    if (options.allowRemove && options.root.empty()) {
        status = ExitStatus::kBadUsage;
        text = "--allow-remove needs --root: nothing is removed outside of it\n";
        return std::nullopt;
    }
    return options;
}

std::vector<std::string> SuccessorArguments(const HostOptions& options, std::uint32_t ownId,
                                            const std::string& remainingFaults,
                                            std::uint32_t absenceMs) {
    std::vector<std::string> arguments = {"--mode", std::to_string(options.mode)};
    const auto add = [&arguments](const char* name, const std::string& value) {
        if (value.empty())
            return;
        arguments.emplace_back(name);
        arguments.push_back(value);
    };
    add("--root", options.root);
    if (options.allowRemove)
        arguments.emplace_back("--allow-remove");
    if (options.allowKill)
        arguments.emplace_back("--allow-kill");
    add("--fault", remainingFaults);
    for (const Emission& emission : options.emissions) {
        add("--emit", std::to_string(emission.eventId) + ":" + std::to_string(emission.intervalMs));
    }
    add("--ready-event", options.readyEvent);
    add("--stop-event", options.stopEvent);
    add("--log", options.logFile);
    if (options.runSeconds.has_value())
        add("--run-seconds", std::to_string(*options.runSeconds));
    if (options.parentId.has_value())
        add("--parent", std::to_string(*options.parentId));
    add("--successor-of", std::to_string(ownId));
    if (absenceMs > 0)
        add("--absence", std::to_string(absenceMs));
    return arguments;
}

}  // namespace DevHost
