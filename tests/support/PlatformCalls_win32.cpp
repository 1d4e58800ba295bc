#include "support/PlatformCalls_win32.h"

#include <algorithm>
#include <atomic>

#include "support/IatPatch.h"
#include "support/PlatformRow_win32.h"

namespace test_support {

namespace {

constexpr int kErrnoAccessDenied = EACCES;
// Longer texts are cut; what is no text after all must not be read far.
constexpr std::size_t kLongestText = 1000;

std::atomic<PlatformRun*> g_pRun{nullptr};

template <class Character>
std::wstring CutText(const Character* text) {
    // A number in the place of a name: an ordinal, a resource.
    if (reinterpret_cast<std::uintptr_t>(text) <= 0xffff)
        return {};
    std::wstring copy;
    for (; *text != Character{} && copy.size() < kLongestText; ++text)
        copy += static_cast<wchar_t>(*text);
    return copy;
}

std::string Utf8(const std::wstring& text) {
    const auto length = static_cast<int>(text.size());
    std::string narrow(text.size() * 3, '\0');
    const int size = WideCharToMultiByte(CP_UTF8, 0, text.c_str(), length, narrow.data(),
                                         static_cast<int>(narrow.size()), nullptr, nullptr);
    narrow.resize(static_cast<std::size_t>(size));
    return narrow;
}

const char* NameOf(Holding holding) {
    switch (holding) {
        case Holding::kHandle:
            return "handle";
        case Holding::kKey:
            return "registry key";
        case Holding::kSearch:
            return "search";
        case Holding::kStream:
            return "stream";
        case Holding::kModule:
            return "module";
        case Holding::kSid:
            return "security identifier";
        case Holding::kService:
            return "service handle";
        case Holding::kImpersonation:
            return "impersonation";
        case Holding::kEnvironment:
            return "environment";
        case Holding::kRpcText:
            return "RPC text";
        case Holding::kRpcBinding:
            return "RPC binding";
        case Holding::kApartment:
            return "COM apartment";
        case Holding::kTraceSession:
            return "trace session";
        case Holding::kSignature:
            return "part of a signature";
        case Holding::kCertificate:
            return "certificate";
        default:
            return "nothing";
    }
}

// Things that are not told apart: one number stands for all, and the system counts them. What was
// not given back by one call may then be given back by any other.
bool IsCounted(Holding holding) {
    return holding == Holding::kModule || holding == Holding::kApartment ||
           holding == Holding::kImpersonation;
}

// The last error of a thread, which looking at a call must not change.
class LastErrorKept {
public:
    LastErrorKept() : m_uiError(GetLastError()), m_iErrno(errno) {}
    LastErrorKept(const LastErrorKept&) = delete;
    LastErrorKept& operator=(const LastErrorKept&) = delete;
    ~LastErrorKept() {
        SetLastError(m_uiError);
        errno = m_iErrno;
    }

private:
    const DWORD m_uiError;
    const int m_iErrno;
};

}  // namespace

bool PlatformFunction::TellsErrno() const {
    return failure == Failure::kErrnoZero || failure == Failure::kErrnoMinusOne;
}

const PlatformFunction* FindPlatformFunction(std::string_view name) {
    for (const PlatformFunction& function : PlatformTable()) {
        if (name == function.name)
            return &function;
    }
    return nullptr;
}

std::uint32_t CodeOf(const PlatformFunction& function, PlatformCode code) {
    if (code == PlatformCode::kSecond)
        return function.secondCode;
    return function.TellsErrno() ? kErrnoAccessDenied : ERROR_ACCESS_DENIED;
}

std::string TextOf(const wchar_t* text) {
    return Utf8(CutText(text));
}

std::string TextOf(const char* text) {
    return Utf8(CutText(text));
}

std::string JoinTexts(std::initializer_list<std::string> texts) {
    std::string all;
    for (const std::string& text : texts) {
        if (!text.empty())
            all += (all.empty() ? "" : " | ") + text;
    }
    return all;
}

std::string ToText(const std::map<Holding, int>& open) {
    std::string text;
    for (const auto& [holding, count] : open) {
        text += (text.empty() ? "" : ", ") + std::to_string(count) + " " + NameOf(holding);
    }
    return text;
}

PlatformCalls::PlatformCalls(HMODULE module) {
    const ImportTable imports(module);
    for (const PlatformFunction& function : PlatformTable()) {
        if (imports.Find(function.library, function.name) == nullptr)
            continue;
        auto* const wrapper = reinterpret_cast<void (*)()>(function.wrapper);
        m_Patches.push_back(
            std::make_unique<IatPatch>(module, function.library, function.name, wrapper));
        *function.original = reinterpret_cast<void*>(m_Patches.back()->Original<void()>());
    }
}

PlatformCalls::~PlatformCalls() = default;

PlatformRun::PlatformRun(const Plan& plan) : m_Plan(plan), m_uiThread(GetCurrentThreadId()) {
    g_pRun = this;
}

void PlatformRun::Stop() {
    if (g_pRun != this)
        return;
    g_pRun = nullptr;
    for (const Kept& kept : m_Kept) {
        if (IsCounted(kept.function->holding) && m_Open[kept.function->holding] <= 0)
            continue;
        kept.giveBack(kept.what);
        m_Open[kept.function->holding] += kept.function->holdingCount;
    }
    m_Kept.clear();
    std::erase_if(m_Open, [](const auto& entry) { return entry.second == 0; });
}

const PlatformCall* PlatformRun::Spoilt() const {
    const auto found = std::find_if(m_Calls.begin(), m_Calls.end(),
                                    [](const PlatformCall& call) { return call.spoilt; });
    return found != m_Calls.end() ? &*found : nullptr;
}

// True when the plan has something in store for the call that comes next.
bool PlatformRun::IsDue(const PlatformFunction& function) {
    if (m_Plan.action == Plan::Action::kWatch ||
        (m_Plan.changingOnly && function.effect != Effect::kChanges))
        return false;
    const std::size_t position = m_uiCounted++;
    return m_Plan.action == Plan::Action::kFailFrom ? position >= m_Plan.position
                                                    : position == m_Plan.position;
}

bool PlatformWatch::IsOn() {
    const PlatformRun* const run = g_pRun.load();
    return run != nullptr && run->m_uiThread == GetCurrentThreadId();
}

PlatformWatch::Verdict PlatformWatch::Begin(const PlatformFunction& function, std::string texts) {
    const LastErrorKept kept;
    PlatformRun& run = *g_pRun;
    const bool due = run.IsDue(function);
    if (due && run.m_Plan.action == Plan::Action::kEndProcess)
        TerminateProcess(GetCurrentProcess(), Plan::kEndedByPlan);
    run.m_Calls.push_back({&function, std::move(texts), due});
    return {due, CodeOf(function, run.m_Plan.code)};
}

void PlatformWatch::Succeeded(const PlatformFunction& function) {
    if (function.holding == Holding::kNothing)
        return;
    const LastErrorKept kept;
    PlatformRun& run = *g_pRun;
    run.m_Open[function.holding] += function.holdingCount;
}

void PlatformWatch::Keep(std::uintptr_t what, const PlatformFunction& function,
                         void (*giveBack)(std::uintptr_t what)) {
    const LastErrorKept kept;
    // What is told apart is given back once, however often that failed.
    if (!IsCounted(function.holding))
        Forget(what, function);
    PlatformRun& run = *g_pRun;
    run.m_Kept.push_back({what, &function, giveBack});
}

void PlatformWatch::Forget(std::uintptr_t what, const PlatformFunction& function) {
    if (function.holdingCount >= 0 || IsCounted(function.holding))
        return;
    const LastErrorKept kept;
    PlatformRun& run = *g_pRun;
    std::erase_if(run.m_Kept, [&](const PlatformRun::Kept& one) {
        return one.what == what && one.function == &function;
    });
}

FARPROC PlatformWatch::Found(const char* name, FARPROC function) {
    // A number in the place of a name finds a function by its ordinal.
    if (reinterpret_cast<std::uintptr_t>(name) <= 0xffff)
        return function;
    const LastErrorKept kept;
    const PlatformFunction* const row = FindPlatformFunction(name);
    if (row == nullptr) {
        if (IsOn() && ReasonWithoutRow(name).empty())
            g_pRun.load()->m_Unknown.emplace_back(name);
        return function;
    }
    // One that is imported too already stands there, with what a test has put before it.
    if (*row->original == nullptr)
        *row->original = reinterpret_cast<void*>(function);
    return reinterpret_cast<FARPROC>(reinterpret_cast<std::intptr_t>(row->wrapper));
}

}  // namespace test_support
