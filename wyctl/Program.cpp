#include "wyctl/Program.h"

#include <fmt/format.h>
#include <json/value.h>
#include <CLI/CLI.hpp>

#include <algorithm>
#include <array>
#include <map>

#include "wyctl/Batch.h"
#include "wyctl/CommandLine_Deploy.h"
#include "wyctl/CommandLine_Package.h"
#include "wyctl/CommandLine_Service.h"
#include "wyctl/CommandLine_Settings.h"
#include "wyctl/CommandLine_Update.h"
#include "wyctl/CommandRegistry.h"
#include "wyctl/CommandText.h"
#include "wyctl/Commands.h"
#include "wyctl/Errors.h"
#include "wyctl/FileBytes.h"
#include "wyctl/JsonText.h"
#include "wyctl/ResultCodes.h"
#include "wyctl/ResultView.h"

namespace WyCtl {

namespace {

constexpr const char* kAbout =
    "wyctl - the functions of WySdk.dll on the command line\n"
    "\n"
    "Loads WySdk.dll as an application does and talks to the service, or to the development\n"
    "host WySvcHost.exe that stands in for it. Exit codes: 0 success, 1 a call failed (code and\n"
    "meaning on stderr), 2 wrong command line.";

// More than any function takes, so that a wrong number is reported by the function's own text.
constexpr std::size_t kMaxTypedArguments = 8;

// What the command line says, and the parser that fills it.
class CommandLine {
public:
    explicit CommandLine(const ProgramOptions& defaults);

    // Raises CLI::ParseError.
    void Parse(std::vector<std::string> arguments);
    const ProgramOptions& Options() const { return m_Options; }
    // Runs the command that was parsed.
    int Run(Context& context, bool nested);
    CLI::App& App() { return m_App; }

private:
    void AddCallAndList();
    void AddSearches();
    void AddMonitor();
    void AddEvents();
    void AddDecode();
    void AddWhere();
    void AddLog();
    void AddJsonDb();
    void AddBatch();
    void AddSearchOptions(CLI::App& command, bool filters);
    std::vector<std::string> TypedArguments() const;

    CLI::App m_App;
    CommandRegistry m_Commands;
    ProgramOptions m_Options;

    std::string m_strFunction;
    std::array<std::string, kMaxTypedArguments> m_Typed;
    std::vector<CLI::Option*> m_TypedOptions;
    ScanOptions m_Scan;
    FileSearchOptions m_Search;
    std::string m_strMinimumSize = "0";
    MonitorOptions m_Monitor;
    std::vector<std::string> m_EventIds;
    EventsOptions m_Events;
    std::string m_strEventId;
    std::string m_strEventParam;
    CLI::Option* m_pEventParam = nullptr;
    PublishOptions m_Publish;
    DecodeOptions m_Decode;
    LogTailOptions m_LogTail;
    LogLevelOptions m_LogLevel;
    std::string m_strExplainedLog;
    JsonDbSaveOptions m_JsonDbSave;
    std::string m_strJsonDb;
    std::string m_strBatchFile;
};

CommandLine::CommandLine(const ProgramOptions& defaults)
    : m_App(kAbout, "wyctl"), m_Commands(m_App) {
    m_Options = defaults;
    m_App.require_subcommand(1);
    m_App.add_flag("--json", m_Options.json,
                   "One JSON object per line on stdout, also for errors; no progress");
    const std::map<std::string, ProgressMode> modes{{"auto", ProgressMode::Auto},
                                                    {"bar", ProgressMode::Bar},
                                                    {"lines", ProgressMode::Lines},
                                                    {"none", ProgressMode::None}};
    m_App
        .add_option("--progress", m_Options.progress,
                    "How long work is shown: auto (a bar on a terminal, else lines), bar, lines, "
                    "none")
        ->transform(CLI::CheckedTransformer(modes))
        ->option_text("MODE");
    m_App.add_option("--library", m_Options.libraryPath, "The library to load")
        ->option_text("FILE")
        ->capture_default_str();
    AddCallAndList();
    AddSearches();
    AddMonitor();
    AddEvents();
    AddDecode();
    AddWhere();
    AddLog();
    AddJsonDb();
    AddPackageCommands(m_Commands);
    AddServiceCommands(m_Commands);
    AddSettingsCommands(m_Commands);
    AddUpdateCommands(m_Commands);
    AddDeployCommands(m_Commands);
    AddBatch();
}

void CommandLine::AddCallAndList() {
    CLI::App* const call = m_Commands.Add(
        "call", "Call one function of the library and show what comes back", [this](Context& c) {
            RunCall(c, m_strFunction, TypedArguments());
            return kExitSuccess;
        });
    call->add_option("NAME", m_strFunction, "Name of the function, as 'wyctl list' shows it")
        ->required();
    // Single positionals: a list of them would take text in square brackets apart, which JSON
    // arguments are.
    for (std::size_t i = 0; i < kMaxTypedArguments; ++i) {
        m_TypedOptions.push_back(call->add_option(
            fmt::format("ARG{}", i + 1), m_Typed[i],
            i == 0 ? "Its input arguments in order; numbers decimal or 0x..." : ""));
        m_TypedOptions.back()->group(i == 0 ? "Positionals" : "");
    }
    m_Commands.Add("list", "Show all functions with identifiers, arguments and types",
                   [](Context& c) {
                       RunList(c);
                       return kExitSuccess;
                   });
}

std::vector<std::string> CommandLine::TypedArguments() const {
    std::vector<std::string> arguments;
    for (std::size_t i = 0; i < kMaxTypedArguments && m_TypedOptions[i]->count() > 0; ++i) {
        arguments.push_back(m_Typed[i]);
    }
    return arguments;
}

void CommandLine::AddSearchOptions(CLI::App& command, bool filters) {
    command.add_option("--drive", m_Search.drive, "Where to look; empty: everywhere")
        ->option_text("DRIVE");
    if (filters) {
        command.add_option("--category", m_Search.category, "Kind of file; empty: all")
            ->option_text("NAME");
        command
            .add_option("--min-size", m_strMinimumSize,
                        "Smallest size in bytes, or with K, M or G in units of 1024")
            ->option_text("SIZE");
    }
}

void CommandLine::AddSearches() {
    CLI::App* const scan =
        m_Commands.Add("scan", "Scan the machine and show the findings", [this](Context& c) {
            RunScan(c, m_Scan);
            return kExitSuccess;
        });
    scan->add_option("--items", m_Scan.items, "Parts of the scan, separated by commas; empty: all")
        ->option_text("LIST");
    scan->add_option("--active-session", m_Scan.activeSession, "Passed on to the service")
        ->option_text("NUMBER")
        ->capture_default_str();

    const auto search = [this](void (*run)(Context&, const FileSearchOptions&)) {
        return [this, run](Context& c) {
            m_Search.minimumSize = ParseSize(m_strMinimumSize);
            run(c, m_Search);
            return kExitSuccess;
        };
    };
    CLI::App* const big = m_Commands.Add("bigfiles", "Look for big files", search(RunBigFiles));
    AddSearchOptions(*big, true);
    big->add_option("--limit", m_Search.limit, "At most so many results; 0: all")
        ->option_text("COUNT");
    AddSearchOptions(
        *m_Commands.Add("duplicates", "Look for files of equal content", search(RunDuplicates)),
        true);
    AddSearchOptions(
        *m_Commands.Add("usage", "Measure what takes the space of a disk", search(RunUsage)),
        false);
}

void CommandLine::AddMonitor() {
    CLI::App* const monitor =
        m_Commands.Add("monitor", "Show live measurements until Ctrl+C", [this](Context& c) {
            RunMonitor(c, m_Monitor);
            return kExitSuccess;
        });
    monitor->add_option("--count", m_Monitor.count, "End after so many samples; 0: never")
        ->option_text("COUNT");
    monitor->add_option("--interval", m_Monitor.intervalMs, "Milliseconds between samples")
        ->option_text("MS")
        ->capture_default_str();
}

void CommandLine::AddEvents() {
    CLI::App* const events =
        m_Commands.Add("events", "Show events as they come, until Ctrl+C", [this](Context& c) {
            for (const std::string& id : m_EventIds) {
                m_Events.ids.push_back(ParseEventId(id));
            }
            RunEvents(c, m_Events);
            return kExitSuccess;
        });
    // As texts: the parser's own numbers are octal behind a 0.
    events->add_option(
        "ID", m_EventIds,
        "Numbers of the events, decimal or 0x...; none: those that the library knows");
    events->add_option("--count", m_Events.count, "End after so many events; 0: never")
        ->option_text("COUNT");
    CLI::App* const publish = m_Commands.Add("publish", "Publish an event", [this](Context& c) {
        m_Publish.id = ParseEventId(m_strEventId);
        if (m_pEventParam->count() > 0) {
            m_Publish.param = m_strEventParam;
        }
        RunPublish(c, m_Publish);
        return kExitSuccess;
    });
    publish->add_option("ID", m_strEventId, "Number of the event, decimal or 0x...")->required();
    m_pEventParam = publish->add_option("JSON", m_strEventParam, "Its parameter");
}

void CommandLine::AddDecode() {
    CLI::App* const decode =
        m_Commands.Add("decode", "Show a captured request or reply field by field",
                       [this](Context& c) { return RunDecode(c, m_Decode); });
    decode->add_option("FILE", m_Decode.file, "The captured bytes")->required();
    const std::map<std::string, CaptureKind> kinds{{"auto", CaptureKind::Auto},
                                                   {"request", CaptureKind::Request},
                                                   {"reply", CaptureKind::Reply},
                                                   {"message", CaptureKind::Message}};
    decode
        ->add_option("--as", m_Decode.kind,
                     "What the bytes are: auto (judged by the first words), request, reply, "
                     "message (without an envelope)")
        ->transform(CLI::CheckedTransformer(kinds))
        ->option_text("KIND");
    decode->add_flag("--full", m_Decode.full, "Show long texts whole");
}

void CommandLine::AddWhere() {
    m_Commands.Add("where", "Show identity, registry values and folders, and where each comes from",
                   [](Context& c) {
                       RunWhere(c);
                       return kExitSuccess;
                   });
}

void CommandLine::AddLog() {
    CLI::App* const log = m_Commands.AddGroup("log", "Read the debug log, and set what it takes");
    CLI::App* const tail = m_Commands.Add(
        *log, "tail", "Show the end of a log and follow it until Ctrl+C", [this](Context& c) {
            RunLogTail(c, m_LogTail);
            return kExitSuccess;
        });
    tail->add_option("FILE", m_LogTail.file, "The log; none: the main log of the product");
    tail->add_option("--lines", m_LogTail.lines, "So many of the records that are there already")
        ->option_text("COUNT")
        ->capture_default_str();
    tail->add_option("--count", m_LogTail.count, "End after so many new records; 0: never")
        ->option_text("COUNT");
    tail->add_flag("!--no-follow", m_LogTail.follow, "Show what is there and end");
    const std::map<std::string, ColorMode> colors{
        {"auto", ColorMode::Auto}, {"always", ColorMode::Always}, {"never", ColorMode::Never}};
    tail->add_option("--color", m_LogTail.color,
                     "Colours by level: auto (on a screen that shows them), always, never")
        ->transform(CLI::CheckedTransformer(colors))
        ->option_text("WHEN");
    const std::map<std::string, LogFilter> filters{
        {"all", LogFilter::All}, {"warnings", LogFilter::Warnings}, {"errors", LogFilter::Errors}};
    tail->add_option("--only", m_LogTail.filter, "all, warnings (errors too), errors")
        ->transform(CLI::CheckedTransformer(filters))
        ->option_text("WHICH");
    CLI::App* const level = m_Commands.Add(*log, "level", "Show or change what the debug log takes",
                                           [this](Context& c) {
                                               RunLogLevel(c, m_LogLevel);
                                               return kExitSuccess;
                                           });
    level->add_option("LEVEL", m_LogLevel.level,
                      "error, warning, info, debug (each with those before it), or a mask");
    level->add_option("--file", m_LogLevel.file, "Another krdbg.ini than the installed product's")
        ->option_text("FILE");
    const auto turn = [this](bool on) {
        return [this, on](std::int64_t) { m_LogLevel.enable = on; };
    };
    CLI::Option* const on = level->add_flag_function("--on", turn(true), "Switch the log on");
    level->add_flag_function("--off", turn(false), "Switch the log off")->excludes(on);
    CLI::App* const explain = m_Commands.Add(
        *log, "explain", "Tell the failing steps of a log, and why", [this](Context& c) {
            RunLogExplain(c, m_strExplainedLog);
            return kExitSuccess;
        });
    explain->add_option("FILE", m_strExplainedLog, "The log")->required();
}

int RunLine(Context& context, const std::vector<std::string>& arguments, bool nested);

void CommandLine::AddJsonDb() {
    CLI::App* const group = m_Commands.AddGroup("jsondb", "Read and write JSON databases");
    m_Commands
        .Add(*group, "show", "Show the document of a file in plain or enciphered form",
             [this](Context& c) {
                 RunJsonDbShow(c, m_strJsonDb);
                 return kExitSuccess;
             })
        ->add_option("FILE", m_strJsonDb, "The file")
        ->required();
    CLI::App* const save =
        m_Commands.Add(*group, "save", "Write a document into a file", [this](Context& c) {
            RunJsonDbSave(c, m_JsonDbSave);
            return kExitSuccess;
        });
    save->add_option("FILE", m_JsonDbSave.file, "The file, which is replaced")->required();
    save->add_flag("--encrypt", m_JsonDbSave.encrypt, "In enciphered form");
    save->add_option("--from", m_JsonDbSave.from,
                     "The document as JSON text; '-' or nothing: standard input")
        ->option_text("JSONFILE");
    CLI::App* const crypt = m_Commands.AddGroup("crypt", "Look at enciphered files");
    m_Commands
        .Add(*crypt, "check", "Tell whether a JSON database is enciphered and whether it parses",
             [this](Context& c) { return RunCryptCheck(c, m_strJsonDb); })
        ->add_option("FILE", m_strJsonDb, "The file")
        ->required();
}

void CommandLine::AddBatch() {
    CLI::App* const batch =
        m_Commands.Add("batch", "Run commands, one per line, in one session", [this](Context& c) {
            const bool fromInput = m_strBatchFile.empty() || m_strBatchFile == "-";
            std::string text;
            if (fromInput) {
                text = ReadStandardInput();
            } else {
                const std::vector<std::uint8_t> bytes = ReadFileBytes(m_strBatchFile);
                text.assign(bytes.begin(), bytes.end());
            }
            return RunBatch(c, text, [](Context& inner, const std::vector<std::string>& line) {
                return RunLine(inner, line, true);
            });
        });
    batch->add_option("FILE", m_strBatchFile, "The commands; '-' or nothing: standard input");
}

void CommandLine::Parse(std::vector<std::string> arguments) {
    // The parser takes them from the back.
    std::reverse(arguments.begin(), arguments.end());
    m_App.parse(std::move(arguments));
}

int CommandLine::Run(Context& context, bool nested) {
    const CLI::App* command = m_App.get_subcommands().front();
    while (!command->get_subcommands().empty()) {
        command = command->get_subcommands().front();
    }
    if (nested && command->get_name() == "batch") {
        throw UsageError("a batch cannot run a batch");
    }
    return m_Commands.RunnerOf(command)(context);
}

// Shows an error: for people on stderr, for programs as a JSON object on stdout as well.
int ReportError(Context& context, int status, const std::string& kind, const std::string& message,
                Json::Value details = Json::Value(Json::objectValue)) {
    context.Screen().Err("wyctl: " + message + "\n");
    if (context.Options().json) {
        details["ok"] = false;
        details["error"] = kind;
        details["message"] = message;
        context.PrintJson(details);
    }
    return status;
}

int ReportCallFailure(Context& context, const CallFailed& error) {
    const std::uint32_t code = error.Result().code;
    Json::Value details(Json::objectValue);
    details["function"] = error.Function();
    AddResultCode(details, code);
    details["outputs"] = OutputsAsJson(error.Result());
    if (!error.Advice().empty()) {
        details["advice"] = error.Advice();
    }
    const int status = ReportError(
        context, kExitFailure, "call",
        fmt::format("{} failed with {}: {}", error.Function(), HexCode(code), DescribeResult(code)),
        std::move(details));
    if (!error.Advice().empty()) {
        context.Screen().Err("what to do: " + error.Advice() + "\n");
    }
    return status;
}

int ReportParseError(Context& context, CLI::App& app, const CLI::ParseError& error) {
    if (error.get_exit_code() == static_cast<int>(CLI::ExitCodes::Success)) {
        context.Screen().Out(app.help("", error.get_name() == "CallForAllHelp"
                                              ? CLI::AppFormatMode::All
                                              : CLI::AppFormatMode::Normal));
        return kExitSuccess;
    }
    const std::vector<std::string> unknown = app.remaining();
    const std::string what = app.get_subcommands().empty() && !unknown.empty()
                                 ? "there is no command '" + unknown.front() + "'"
                                 : error.what();
    return ReportError(context, kExitUsage, "usage", what + "; see 'wyctl --help'");
}

int RunLine(Context& context, const std::vector<std::string>& arguments, bool nested) {
    CommandLine line(context.Options());
    try {
        line.Parse(arguments);
        context.Options() = line.Options();
        return line.Run(context, nested);
    } catch (const CLI::ParseError& error) {
        // A line that does not parse still says whether its reader wants JSON.
        context.Options().json =
            context.Options().json ||
            std::find(arguments.begin(), arguments.end(), "--json") != arguments.end();
        return ReportParseError(context, line.App(), error);
    } catch (const UsageError& error) {
        return ReportError(context, kExitUsage, "usage", error.what());
    } catch (const CallFailed& error) {
        return ReportCallFailure(context, error);
    } catch (const Cancelled& error) {
        return ReportError(context, kExitFailure, "cancelled", error.what());
    } catch (const Failure& error) {
        return ReportError(context, kExitFailure, "failure", error.what());
    } catch (const std::bad_alloc&) {
        return ReportError(context, kExitFailure, "failure", "out of memory");
    } catch (const std::exception& error) {
        return ReportError(context, kExitFailure, "failure", error.what());
    }
}

}  // namespace

int RunProgram(const std::vector<std::string>& arguments, Terminal& terminal,
               const LibraryLoader& loader) {
    Context context(terminal, loader);
    return RunLine(context, arguments, false);
}

}  // namespace WyCtl
