#pragma once

// One part of the scan: what it looks for and what it found.

#include <json/value.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "devhost/FileSystem.h"
#include "devhost/WorkerJob.h"

namespace DevHost {

// Something that a feature found.
struct Finding {
    std::string id;      // given by the session: the feature's name, "-" and a number
    std::string kind;    // "file", "uninstall-entry", "autorun-entry", "service"
    std::string object;  // what it is about: a path, or a name in the registry; UTF-8
    std::string name;    // for people
    std::uint64_t size = 0;
    bool isProblem = true;  // false: told for information
    bool isRepaired = false;
    Json::Value detail{Json::objectValue};
    // For a file: how it was when it was found.
    std::optional<FileSystem::Path> file;
    FileSystem::FileFacts facts;
};

// Features are shared by all scans and have no state.
class ScanFeature {
public:
    using Sink = std::function<void(Finding finding)>;

    ScanFeature() = default;
    ScanFeature(const ScanFeature&) = delete;
    ScanFeature& operator=(const ScanFeature&) = delete;
    virtual ~ScanFeature() = default;

    // As "items" and results name it.
    virtual const char* Name() const = 0;

    // Looks at the machine and hands over what it finds, until it is through or the job is
    // cancelled. Progress is the feature's own, from 0 to 1. Changes nothing.
    virtual void Run(const Sink& found, JobControl& control) const = 0;
};

}  // namespace DevHost
