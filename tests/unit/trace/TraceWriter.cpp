// One of several programs that write the same log at the same time.
//
// TRACE_WRITER in the environment: "<mode> <lines> <folder>". Mode "session" writes through a
// session with small files, "module" through KrDbgLog.dll beside this program; "die" takes the lock
// of the log and ends with it.

#include <cstdlib>
#include <sstream>
#include <string>

#include "Common/KrCommon/KrComn_KrDbg.h"
#include "Common/KrCommon/KrComn_LogPlatform.h"
#include "Common/KrCommon/KrComn_String.h"
#include "TraceRecord.h"
#include "support/RunProgram.h"
#include "trace/TraceSession.h"

namespace {

template <class Write>
int WriteLines(int lines, Write write) {
    for (int i = 0; i < lines; ++i) {
        const std::wstring line =
            std::to_wstring(KrCommon::LogPlatform::ProcessId()) + L" " + std::to_wstring(i) + L" " +
            std::wstring(static_cast<std::size_t>(i % 97), L'x') + L" end\r\n";
        if (!write(line))
            return 3;
    }
    return 0;
}

int RunSession(const KrDbgConfig& config, int lines) {
    Trace::Session session(Trace::Limits{.fileSize = 50000, .oldFiles = 99});
    if (session.Open(config) != 0)
        return 2;
    return WriteLines(lines, [&](const std::wstring& line) {
        return session.Write(KrCommon::LogPlatform::LocalTime(), line.c_str()) == 0;
    });
}

int RunModule(const KrDbgConfig& config, int lines) {
    KrCommon::Library::KrDbg library;
    const std::wstring path = (test_support::ProgramFolder() / "KrDbgLog.dll").wstring();
    void* session = nullptr;
    if (!library.Load(path.c_str(), 0, nullptr) || !library.Bind(true, nullptr) ||
        library.m_fnInitialize(&session, &config) != 0)
        return 2;
    const int result = WriteLines(lines, [&](const std::wstring& line) {
        const KrDbgTime time = KrCommon::LogPlatform::LocalTime();
        return library.m_fnTrace(session, &time, line.c_str()) == 0;
    });
    library.m_fnUninitialize(session);
    return result;
}

}  // namespace

int main() {
    const char* const order = std::getenv("TRACE_WRITER");
    std::istringstream words(order != nullptr ? order : "");
    std::string mode;
    std::string folder;
    int lines = 0;
    words >> mode >> lines;
    std::getline(words >> std::ws, folder);
    const KrDbgConfig config = test_support::Record(KrCommon::String::FromUtf8(folder));
    if (mode == "session")
        return RunSession(config, lines);
    if (mode == "die") {
        Trace::Session session;
        Trace::FileLock lock;
        if (session.Open(config) != 0 || lock.Open(session.FilePath(0)) != 0 || !lock.Lock(0))
            return 2;
        std::_Exit(0);
    }
    return mode == "module" ? RunModule(config, lines) : 1;
}
