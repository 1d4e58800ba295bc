#pragma once

// The commands of the program. Each writes its result and returns, or raises one of Errors.h.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "wyctl/Context.h"

namespace WyCtl {

// Calls one function with arguments as a person typed them, and shows what came back.
void RunCall(Context& context, const std::string& name, const std::vector<std::string>& arguments);

// Shows all functions.
void RunList(Context& context);

struct ScanOptions {
    std::uint32_t activeSession = 1;
    std::string items;  // comma list; what an empty one means is the service's choice
};

// Starts a scan, follows it to its end and shows the findings.
void RunScan(Context& context, const ScanOptions& options);

struct FileSearchOptions {
    std::string drive;
    std::string category;
    std::uint64_t minimumSize = 0;  // bytes
    std::uint32_t limit = 0;        // of results; big files only
};

// Run one file search each, as the scan.
void RunBigFiles(Context& context, const FileSearchOptions& options);
void RunDuplicates(Context& context, const FileSearchOptions& options);
void RunUsage(Context& context, const FileSearchOptions& options);

struct MonitorOptions {
    std::uint32_t count = 0;  // 0: until Ctrl+C
    std::uint32_t intervalMs = 1000;
};

// Shows measurements line by line.
void RunMonitor(Context& context, const MonitorOptions& options);

struct EventsOptions {
    std::vector<std::uint32_t> ids;  // none: the events whose numbers the library knows
    std::uint32_t count = 0;         // ends after so many events; 0: at Ctrl+C
};

// Shows events as they come. Subscribes again when the service was restarted.
void RunEvents(Context& context, const EventsOptions& options);

struct PublishOptions {
    std::uint32_t id = 0;
    std::optional<std::string> param;  // JSON text, UTF-8
};

// Publishes one event. Raises UsageError for a parameter that is no JSON.
void RunPublish(Context& context, const PublishOptions& options);

enum class ColorMode { Auto, Always, Never };
enum class LogFilter { All, Warnings, Errors };

struct LogTailOptions {
    std::string file;          // empty: the main log of the installed product
    std::uint32_t lines = 10;  // records shown of those that are there already
    std::uint32_t count = 0;   // ends after so many new records; 0: at Ctrl+C
    bool follow = true;
    ColorMode color = ColorMode::Auto;
    LogFilter filter = LogFilter::All;
};

// Shows the end of a debug log, and its new records as they come. Raises Failure when the file
// cannot be read.
void RunLogTail(Context& context, const LogTailOptions& options);

// The path of the product's main log, where its krdbg.ini says that services write it. Raises
// Failure when no product is installed.
std::string DefaultLogFile();

// Tells what went wrong: for each failure in the log the step that failed, code, meaning, and the
// records that only pass it on. Raises Failure when the file cannot be read or is no debug log.
void RunLogExplain(Context& context, const std::string& file);

struct LogLevelOptions {
    std::string file;            // a krdbg.ini; empty: the installed product's
    std::string level;           // empty: as it is
    std::optional<bool> enable;  // none: as it is
    bool folder = false;         // show the folder of the logs, too
};

// Shows switch and level of the debug log, and changes them first where that is asked for. A change
// is written for both kinds of session, and into the file below win32 as well when it is the
// installed product's. Raises UsageError for a wrong level, Failure when there is no such file or
// it cannot be written.
void RunLogLevel(Context& context, const LogLevelOptions& options);

// Shows what the library resolves on this machine, and from where.
void RunWhere(Context& context);

// Shows the document of a JSON database. Raises Failure when the file cannot be read or holds none.
void RunJsonDbShow(Context& context, const std::string& file);

struct JsonDbSaveOptions {
    std::string file;
    std::string from;  // a file with JSON text; "-" or nothing: standard input
    bool encrypt = false;
};

// Writes a JSON database. Raises Failure for a text that is no JSON, and then the file is as it
// was, and when the file cannot be written.
void RunJsonDbSave(Context& context, const JsonDbSaveOptions& options);

// Tells whether a JSON database is enciphered and whether it parses. Returns the exit code:
// kExitFailure when it does not parse. Raises Failure when the file cannot be read.
int RunCryptCheck(Context& context, const std::string& file);

enum class CaptureKind { Auto, Request, Reply, Message };

struct DecodeOptions {
    std::string file;
    CaptureKind kind = CaptureKind::Auto;
    bool full = false;  // show long texts whole
};

// Shows a captured request or reply field by field. Returns the exit code: kExitFailure when parts
// of it are malformed. Raises Failure when the file cannot be read.
int RunDecode(Context& context, const DecodeOptions& options);

}  // namespace WyCtl
