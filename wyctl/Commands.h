#pragma once

// The commands of the program. Each writes its result and returns, or raises one of Errors.h.

#include <cstdint>
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
