#pragma once

// Makes the rows of the table of platform calls; used by PlatformTable_win32.cpp alone.

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <initializer_list>
#include <string>
#include <tuple>
#include <type_traits>

#include "support/PlatformCalls_win32.h"

#include <rpc.h>

namespace test_support {

// What the wrappers ask the present run.
class PlatformWatch {
public:
    // What is to become of a call.
    struct Verdict {
        bool fails;
        std::uint32_t code;
    };

    // True while calls of this thread are watched; `texts` is only made then.
    static bool IsOn();
    static Verdict Begin(const PlatformFunction& function, std::string texts);
    static void Succeeded(const PlatformFunction& function);
    // Takes note of what a call would have given back, known by its first argument.
    static void Keep(std::uintptr_t what, const PlatformFunction& function,
                     void (*giveBack)(std::uintptr_t what));
    static void Forget(std::uintptr_t what, const PlatformFunction& function);
    // The wrapper for a function that the module has looked up, or the function itself.
    static FARPROC Found(const char* name, FARPROC function);
};

template <class Result, class... Arguments>
struct PlatformSignature {};

template <class Result, class... Arguments>
PlatformSignature<Result, Arguments...> SystemSignature(Result(WINAPI*)(Arguments...));
template <class Result, class... Arguments>
PlatformSignature<Result, Arguments...> CrtSignature(Result (*)(Arguments...));

// A name as an argument of a template.
template <std::size_t Size>
struct PlatformName {
    // NOLINTNEXTLINE(google-explicit-constructor): made from a literal
    constexpr PlatformName(const char (&name)[Size]) { std::copy_n(name, Size, text); }
    char text[Size];
};

std::string TextOf(const wchar_t* text);
std::string TextOf(const char* text);

// The text of an argument; of those that are no text, none.
template <class Argument>
std::string ArgumentText(const Argument& argument) {
    if constexpr (std::is_same_v<Argument, const wchar_t*> || std::is_same_v<Argument, const char*>)
        return TextOf(argument);
    return {};
}

// The texts of some arguments in one, " | " between them.
std::string JoinTexts(std::initializer_list<std::string> texts);

template <class Argument>
std::uintptr_t ArgumentNumber(Argument argument) {
    if constexpr (std::is_pointer_v<Argument>) {
        return reinterpret_cast<std::uintptr_t>(argument);
    } else if constexpr (std::is_integral_v<Argument>) {
        return static_cast<std::uintptr_t>(argument);
    } else {
        return 0;
    }
}

template <class Result>
Result ResultOf(std::intptr_t number) {
    if constexpr (std::is_pointer_v<Result>) {
        return reinterpret_cast<Result>(number);
    } else {
        return static_cast<Result>(number);
    }
}

template <class Result>
bool IsSuccess(Failure failure, Result result) {
    switch (failure) {
        case Failure::kZero:
        case Failure::kErrnoZero:
            return result != Result{};
        case Failure::kAllOnes:
        case Failure::kErrnoMinusOne:
            return result != ResultOf<Result>(-1);
        case Failure::kCode:
            return result == Result{};
        case Failure::kResult:
            return ArgumentNumber(result) <= 0x7fffffff;
        default:
            return true;
    }
}

// A failure as the function would tell it. kDefault is not told here.
template <class Result>
Result Fail(Failure failure, std::uint32_t code) {
    switch (failure) {
        case Failure::kZero:
            SetLastError(code);
            return Result{};
        case Failure::kAllOnes:
            SetLastError(code);
            return ResultOf<Result>(-1);
        case Failure::kCode:
            return ResultOf<Result>(static_cast<std::intptr_t>(code));
        case Failure::kResult:
            return ResultOf<Result>(static_cast<std::intptr_t>(HRESULT_FROM_WIN32(code)));
        case Failure::kRaised:
            RpcRaiseException(static_cast<RPC_STATUS>(code));
            return Result{};
        case Failure::kErrnoZero:
            errno = static_cast<int>(code);
            return Result{};
        case Failure::kErrnoMinusOne:
            errno = static_cast<int>(code);
            return ResultOf<Result>(-1);
        default:
            return Result{};
    }
}

// The wrapper of one function. Nothing in it that has a destructor may live across the call, which
// may leave by an exception of the RPC runtime.
template <PlatformName name, class Signature>
class PlatformRow;

template <PlatformName name, class Result, class... Arguments>
class PlatformRow<name, PlatformSignature<Result, Arguments...>> {
public:
    static Result WINAPI System(Arguments... arguments) {
        return Pass<Result(WINAPI*)(Arguments...)>(arguments...);
    }
    static Result Crt(Arguments... arguments) {
        return Pass<Result (*)(Arguments...)>(arguments...);
    }

    static inline void* s_pOriginal = nullptr;

private:
    template <class Original>
    static Result Pass(Arguments... arguments) {
        static const PlatformFunction& s_Function = *FindPlatformFunction(name.text);
        const auto original = reinterpret_cast<Original>(s_pOriginal);
        const bool watched = PlatformWatch::IsOn();
        if constexpr (std::is_void_v<Result>) {
            original(arguments...);
            if (watched)
                PlatformWatch::Succeeded(s_Function);
        } else {
            if (watched && s_Function.MayFail()) {
                const PlatformWatch::Verdict verdict =
                    PlatformWatch::Begin(s_Function, JoinTexts({ArgumentText(arguments)...}));
                if (verdict.fails)
                    return Refuse<Original>(s_Function, verdict.code, arguments...);
            }
            const Result result = original(arguments...);
            if (watched && IsSuccess(s_Function.failure, result)) {
                PlatformWatch::Succeeded(s_Function);
                if constexpr (sizeof...(Arguments) <= 1)
                    PlatformWatch::Forget(Given(arguments...), s_Function);
            }
            if constexpr (std::is_same_v<Result, FARPROC>) {
                if (result != nullptr)
                    return PlatformWatch::Found(std::get<1>(std::tuple(arguments...)), result);
            }
            return result;
        }
    }

    template <class Original>
    static Result Refuse(const PlatformFunction& function, std::uint32_t code,
                         Arguments... arguments) {
        if constexpr (sizeof...(Arguments) <= 1) {
            // A stream is closed whatever fclose answers.
            if (function.holdingCount < 0 && function.TellsErrno()) {
                reinterpret_cast<Original>(s_pOriginal)(arguments...);
                PlatformWatch::Succeeded(function);
            } else if (function.holdingCount < 0) {
                PlatformWatch::Keep(Given(arguments...), function, GiveBack<Original>);
            }
        }
        if (function.failure == Failure::kDefault) {
            SetLastError(code);
            return Default(arguments...);
        }
        return Fail<Result>(function.failure, code);
    }

    // What a call gives back, as a number: its one argument, or what that points to.
    static std::uintptr_t Given() { return 0; }
    static std::uintptr_t Given(RPC_BINDING_HANDLE* binding) { return ArgumentNumber(*binding); }
    template <class Argument>
    static std::uintptr_t Given(Argument argument) {
        return ArgumentNumber(argument);
    }

    template <class Original>
    static void GiveBack(std::uintptr_t what) {
        const auto original = reinterpret_cast<Original>(s_pOriginal);
        if constexpr (std::is_same_v<void(Arguments...), void(RPC_BINDING_HANDLE*)>) {
            RPC_BINDING_HANDLE binding = reinterpret_cast<RPC_BINDING_HANDLE>(what);
            original(&binding);
        } else {
            original(ResultOf<Arguments>(static_cast<std::intptr_t>(what))...);
        }
    }

    // The default of a read from a private profile.
    static Result Default(const wchar_t*, const wchar_t*, const wchar_t* text, wchar_t* buffer,
                          DWORD size, const wchar_t*) {
        if (size == 0)
            return 0;
        const std::size_t length =
            std::min<std::size_t>(text != nullptr ? std::wcslen(text) : 0, size - 1);
        std::copy_n(text, length, buffer);
        buffer[length] = L'\0';
        return static_cast<Result>(length);
    }
    static Result Default(const wchar_t*, const wchar_t*, INT number, const wchar_t*) {
        return static_cast<Result>(number);
    }
    // The same of a list of names or keys, which an empty text ends.
    static Result Default(const wchar_t*, wchar_t* buffer, DWORD size, const wchar_t* file) {
        return Default(buffer, size, file);
    }
    static Result Default(wchar_t* buffer, DWORD size, const wchar_t*) {
        std::fill_n(buffer, std::min<DWORD>(size, 2), L'\0');
        return Result{};
    }
    template <class... Others>
    static Result Default(Others...) {
        return Result{};
    }
};

// The wrapper and its place for the original, for a row.
struct PlatformWrapper {
    void* wrapper;
    void** original;
};

#define WY_SYSTEM_CALL(function) WY_SYSTEM_CALL_OF(function, function)
#define WY_SYSTEM_CALL_OF(function, like)                                                        \
    test_support::PlatformWrapper {                                                              \
        reinterpret_cast<void*>(                                                                 \
            &test_support::PlatformRow<#function,                                                \
                                       decltype(test_support::SystemSignature(&like))>::System), \
            &test_support::PlatformRow<#function, decltype(test_support::SystemSignature(        \
                                                      &like))>::s_pOriginal                      \
    }
#define WY_CRT_CALL(function)                                                                  \
    test_support::PlatformWrapper {                                                            \
        reinterpret_cast<void*>(                                                               \
            &test_support::PlatformRow<#function,                                              \
                                       decltype(test_support::CrtSignature(&function))>::Crt), \
            &test_support::PlatformRow<#function, decltype(test_support::CrtSignature(         \
                                                      &function))>::s_pOriginal                \
    }

}  // namespace test_support
