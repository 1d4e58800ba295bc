#pragma once

// The logs beside the main log: each opens itself with its first line. For Windows builds alone.
//
// "Event" takes the notes of the service's life and has module and configuration beside the host's
// executable; "FeedbackError" takes the lines of failed calls and has them in the folder of the
// installed product. Each is opened once in the life of the process, or never when the folder
// cannot be told: nothing is loaded by name from wherever the system looks. Call sites write with
// the forced level, so that such a line is written whenever the log is open.

namespace WyCommon::LazyLogs {

// Points g_pEventLog and g_pFeedbackErrorLog to the logs. Opens nothing.
void Start();

// Clears both pointers. The sessions of the logs are not closed.
void Stop();

}  // namespace WyCommon::LazyLogs
