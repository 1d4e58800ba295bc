#pragma once

// What every command works with: terminal, options of the program, library and session.

#include <functional>
#include <initializer_list>
#include <memory>
#include <string>

#include "wyctl/SdkLibrary.h"
#include "wyctl/Terminal.h"

namespace Json {
class Value;
}

namespace WyCtl {

enum class ProgressMode { Auto, Bar, Lines, None };

// What the options of the program itself say.
struct ProgramOptions {
    bool json = false;
    ProgressMode progress = ProgressMode::Auto;
    std::string libraryPath = "WySdk.dll";
};

// Makes the library; raises Failure.
using LibraryLoader = std::function<std::unique_ptr<SdkLibrary>(const std::string& path)>;

class Context {
public:
    // The terminal must outlive the context. Closes a session that is still open, ignoring the
    // answer.
    Context(Terminal& terminal, LibraryLoader loader);
    Context(const Context&) = delete;
    Context& operator=(const Context&) = delete;
    ~Context();

    Terminal& Screen() const { return m_Terminal; }
    ProgramOptions& Options() { return m_Options; }
    const ProgramOptions& Options() const { return m_Options; }

    // True when the library can be loaded and has the export; nothing is raised.
    bool IsExported(const std::string& name);
    bool LibraryIsLoadable();

    // An export under its own type, decltype(&WySetProxy) for instance. Raises Failure when the
    // library cannot be loaded or lacks it.
    template <class Pointer>
    Pointer Export(const std::string& name) {
        return reinterpret_cast<Pointer>(RequireExport(name));
    }

    // Calls a function of the directory and returns what it gave, failed or not. Raises Failure
    // when the library cannot be loaded or lacks the export.
    CallResult TryCall(const Function& function, std::span<const InputValue> inputs);
    // The same by name; raises CallFailed for a negative result.
    CallResult Call(const std::string& name, std::initializer_list<InputValue> inputs);

    // Gives back a text that an export under its own type has made.
    void ReleaseText(wchar_t* text) { Library().Release()(text); }

    // Registers this process at the service under the program's name (WyInitialize), and takes
    // that back (WyUninitialize). Raise CallFailed.
    void OpenSession();
    void CloseSession();
    bool SessionIsOpen() const { return m_bSession; }

    // Subscribes this process to an event and takes that back (WySubscribeEvent,
    // WyUnsubscribeEvent). Return the library's code; raise Failure when it lacks the export.
    std::uint32_t Subscribe(std::uint32_t eventId, WyEventCallback callback);
    std::uint32_t Unsubscribe(std::uint32_t eventId);

    // One line on stdout.
    void PrintJson(const Json::Value& value) const;

private:
    SdkLibrary& Library();
    ExportAddress RequireExport(const std::string& name);

    Terminal& m_Terminal;
    ProgramOptions m_Options;
    LibraryLoader m_Loader;
    std::unique_ptr<SdkLibrary> m_pLibrary;
    bool m_bSession = false;
};

// A session for the length of a command, unless one is open already.
//
// Calls without a session make a callback endpoint each, and a process can have only so many of
// them; commands that call more than once therefore open a session first.
class SessionScope {
public:
    explicit SessionScope(Context& context);
    SessionScope(const SessionScope&) = delete;
    SessionScope& operator=(const SessionScope&) = delete;
    ~SessionScope();

    // Closes the session and raises CallFailed if the service refuses.
    void Close();

private:
    Context& m_Context;
    bool m_bOwner;
};

}  // namespace WyCtl
