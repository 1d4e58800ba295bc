#include "wyctl/Context.h"

#include <fmt/format.h>

#include <utility>

#include "Common/KrCommon/KrComn_Result.h"
#include "wyctl/Errors.h"
#include "wyctl/JsonText.h"

namespace WyCtl {

namespace {

// The name under which this program is known to the service.
constexpr const wchar_t* kProcessName = L"wyctl";

}  // namespace

Context::Context(Terminal& terminal, LibraryLoader loader)
    : m_Terminal(terminal), m_Loader(std::move(loader)) {}

Context::~Context() {
    if (m_bSession) {
        try {
            CloseSession();
        } catch (const std::exception&) {
            // The command has failed already and said why; this would only hide it.
        }
    }
}

SdkLibrary& Context::Library() {
    if (m_pLibrary == nullptr) {
        m_pLibrary = m_Loader(m_Options.libraryPath);
    }
    return *m_pLibrary;
}

bool Context::LibraryIsLoadable() {
    try {
        Library();
        return true;
    } catch (const Failure&) {
        return false;
    }
}

bool Context::IsExported(const std::string& name) {
    return LibraryIsLoadable() && Library().FindExport(name) != nullptr;
}

ExportAddress Context::RequireExport(const std::string& name) {
    const ExportAddress address = Library().FindExport(name);
    if (address == nullptr) {
        throw Failure(fmt::format("{} has no export {}", m_Options.libraryPath, name));
    }
    return address;
}

CallResult Context::TryCall(const Function& function, std::span<const InputValue> inputs) {
    const ExportAddress address = RequireExport(function.name);
    return CallFunction(address, function, inputs, Library().Release());
}

CallResult Context::Call(const std::string& name, std::initializer_list<InputValue> inputs) {
    const Function* const function = FindFunction(name);
    if (function == nullptr) {
        throw std::invalid_argument("no function " + name);
    }
    CallResult result = TryCall(*function, {inputs.begin(), inputs.size()});
    if (KrCommon::Result::Failed(result.code)) {
        throw CallFailed(name, std::move(result));
    }
    return result;
}

void Context::OpenSession() {
    constexpr SlotClass classes[] = {SlotClass::Pointer};
    const std::uint64_t slots[] = {reinterpret_cast<std::uintptr_t>(kProcessName)};
    const std::uint32_t code = CallExport(RequireExport("WyInitialize"), classes, slots);
    if (KrCommon::Result::Failed(code)) {
        throw CallFailed("WyInitialize", {code, {}});
    }
    m_bSession = true;
}

void Context::CloseSession() {
    m_bSession = false;
    const std::uint32_t code = CallExport(RequireExport("WyUninitialize"), {}, {});
    if (KrCommon::Result::Failed(code)) {
        throw CallFailed("WyUninitialize", {code, {}});
    }
}

std::uint32_t Context::Subscribe(std::uint32_t eventId, WyEventCallback callback) {
    constexpr SlotClass classes[] = {SlotClass::UInt32, SlotClass::Pointer};
    const std::uint64_t slots[] = {
        eventId, static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(callback))};
    return CallExport(RequireExport("WySubscribeEvent"), classes, slots);
}

std::uint32_t Context::Unsubscribe(std::uint32_t eventId) {
    constexpr SlotClass classes[] = {SlotClass::UInt32};
    const std::uint64_t slots[] = {eventId};
    return CallExport(RequireExport("WyUnsubscribeEvent"), classes, slots);
}

void Context::PrintJson(const Json::Value& value) const {
    m_Terminal.Out(WriteJson(value) + "\n");
}

SessionScope::SessionScope(Context& context)
    : m_Context(context), m_bOwner(!context.SessionIsOpen()) {
    if (m_bOwner) {
        m_Context.OpenSession();
    }
}

SessionScope::~SessionScope() {
    if (!m_bOwner) {
        return;
    }
    try {
        Close();
    } catch (const std::exception&) {
        // Something else ended the command; its reason is what the person has to see.
    }
}

void SessionScope::Close() {
    if (std::exchange(m_bOwner, false)) {
        m_Context.CloseSession();
    }
}

}  // namespace WyCtl
