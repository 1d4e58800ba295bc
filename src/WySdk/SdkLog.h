#pragma once

// The library's logs, written through the trace module.
//
// The trace module KrDbgLog.dll and its configuration krdbg.ini lie in one folder. Without the
// module a log writes nothing, without the file it carries forced lines alone; nothing else
// changes. The configuration is read once, from the section that fits the session of the process:
// "ServiceSession" or "InteractiveSession".

#include <string>

// Opens the main log and points g_pDebugLog to it. `module` is the name in angle brackets in each
// line, `folder` holds module and configuration. The log stays, and writes nothing, when it cannot
// be opened. Called while no other thread logs, and not twice without StopDebugLog.
void StartDebugLog(const std::wstring& module, const std::wstring& folder);

// Closes and deletes the main log, if there is one; g_pDebugLog and g_pFeedbackErrorLog are null
// then.
void StopDebugLog();

// Points g_pFeedbackErrorLog to the log of failed calls, which opens itself with its first line
// from the folder of the installed product, and only once.
void StartFeedbackErrorLog();
