#pragma once

#include <cstdint>
#include <string>

namespace WyCtl {

// One change. Texts are wide as the system has them.
struct PlanStep {
    enum class Kind : std::uint8_t {
        CreateKey,
        DeleteKey,
        WriteValue,
        DeleteValue,
        MakeFolder,
        CopyFile,
        MoveFile,
        DeleteFile,
        DeleteFolder,
    };
    // What is at the place now.
    enum class Before : std::uint8_t { Absent, There, Same };

    Kind kind = Kind::CreateKey;
    std::wstring place;
    std::wstring data;        // of a value; of a copy or move, where it comes from
    std::uint64_t bytes = 0;  // of a copy
    Before before = Before::Absent;
    bool inUse = false;      // the file is held open at this moment
    bool atRestart = false;  // carried out at the next start of the system
};

}  // namespace WyCtl
