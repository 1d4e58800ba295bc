#pragma once

// A machine with the product on it, as the sweep of faults finds it before each call.

#include <filesystem>
#include <map>
#include <string>

#include "Common/KrCommon/KrComn_Windows.h"
#include "support/TemporaryFolder.h"

// Everything that the calls of the sweep may change: values of the registry, files, what is left to
// the next start of the system, and what the watchdog was asked for. What it is, and what it holds;
// each key of an INI file and each line of the feedback record stands for itself.
using MachineState = std::map<std::wstring, std::string>;

// Made once in a test program, before the library is loaded. The product's key of the registry,
// its folder with all that the calls read, a download of an update beside it, a folder for
// temporary files, the present folder of the process, and the watchdog's two events.
//
// It lies directly below C:\, so that paths have as many folders on every machine.
class SweepMachine {
public:
    SweepMachine();
    SweepMachine(const SweepMachine&) = delete;
    SweepMachine& operator=(const SweepMachine&) = delete;
    ~SweepMachine();

    // Puts everything back to where it was when the state is `left`: what is new goes in any case,
    // what is old comes back where something of it has changed.
    void Restore(const MachineState& left) const;
    MachineState State() const;
    // The state that Restore() leads to.
    const MachineState& Prepared() const { return m_Prepared; }

    // A path below the folder in which everything lies.
    std::wstring At(const std::wstring& relative) const;
    // A text with the machine's own folder written "@", the same from run to run.
    std::string Plain(const std::string& text) const;

private:
    void MakeFolders() const;
    void PutFiles() const;
    void PutValues() const;
    void RemoveNew() const;

    const test_support::TemporaryFolder m_Folder;
    const std::wstring m_Base = m_Folder.Path().wstring();
    const std::filesystem::path m_HostRecord;  // where the record goes without the product's folder
    const HANDLE m_hStart;
    const HANDLE m_hStop;
    MachineState m_Prepared;
};
