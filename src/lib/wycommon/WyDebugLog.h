#pragma once

// The main log of an operation that runs before the product is present, or while it comes and
// goes. For Windows builds alone.

#include <string>

// Moves the main log for the length of a scope.
//
// While the scope lasts, the log runs from copies of krdbg.ini and KrDbgLog.dll that were taken
// from a folder into the folder for temporary files, with everything but debug lines let through.
// The copies are deleted at the next start of the system. With an empty source folder the log
// stays as it is.
//
// At its end the main log is made anew with the configuration of `logFolder`, or of the product
// path when that is empty; with neither it stays.
//
// Nothing fails towards the caller: what cannot be had leaves logging off. The object is made and
// dropped while no other thread logs.
class WyDebugLog {
public:
    WyDebugLog(const std::wstring& module, const std::wstring& sourceFolder,
               const std::wstring& logFolder) noexcept;
    WyDebugLog(const WyDebugLog&) = delete;
    WyDebugLog& operator=(const WyDebugLog&) = delete;
    ~WyDebugLog();

private:
    void Redirect(const std::wstring& sourceFolder) const;
    void Restore();

    std::wstring m_strModule;
    std::wstring m_strLogFolder;
};
