// WySdkResult.hpp: owned texts, and results that carry their value. Part of <WySdk/WySdk.hpp>.
#ifndef WYSDK_WYSDKRESULT_HPP
#define WYSDK_WYSDKRESULT_HPP

#include <WySdk/WySdk.h>

#ifndef NOMINMAX
#define NOMINMAX
#endif
#include <windows.h>

#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <utility>

namespace wy {

// A failed call, as result::value raises it.
class call_error : public std::runtime_error {
public:
    explicit call_error(std::uint32_t code)
        : std::runtime_error("a call of WySdk.dll failed with " + std::to_string(code)),
          m_code(code) {}
    std::uint32_t code() const noexcept { return m_code; }

private:
    std::uint32_t m_code;
};

// A text that the library gave, released with its owner (LocalFree). Empty when the library gave
// none.
class text {
public:
    text() noexcept = default;
    // Takes the ownership of a text of the library.
    explicit text(wchar_t* owned) noexcept : m_text(owned) {}
    text(text&& other) noexcept : m_text(std::exchange(other.m_text, nullptr)) {}
    text& operator=(text&& other) noexcept {
        if (this != &other) {
            WyFree(m_text);
            m_text = std::exchange(other.m_text, nullptr);
        }
        return *this;
    }
    text(const text&) = delete;
    text& operator=(const text&) = delete;
    ~text() { WyFree(m_text); }

    // Never null.
    const wchar_t* c_str() const noexcept { return m_text != nullptr ? m_text : L""; }
    std::wstring_view view() const noexcept { return c_str(); }
    std::wstring str() const { return c_str(); }
    bool empty() const noexcept { return *c_str() == L'\0'; }

    // Where a function of WySdk.h puts its text; what was held is released first.
    wchar_t** put() noexcept {
        WyFree(m_text);
        m_text = nullptr;
        return &m_text;
    }

private:
    wchar_t* m_text = nullptr;
};

// The code of a call and what it brought. After a failure that the service itself reported the
// value may hold what came with it; after any other failure it is empty.
template <class T>
class [[nodiscard]] result {
public:
    result(std::uint32_t code, T value) : m_code(code), m_value(std::move(value)) {}

    explicit operator bool() const noexcept { return WY_SUCCEEDED(m_code); }
    std::uint32_t code() const noexcept { return m_code; }

    // The value whether the call succeeded or not.
    T& operator*() noexcept { return m_value; }
    const T& operator*() const noexcept { return m_value; }
    T* operator->() noexcept { return &m_value; }
    const T* operator->() const noexcept { return &m_value; }

    // The value of a call that succeeded; raises call_error otherwise.
    T& value() & {
        check();
        return m_value;
    }
    T&& value() && {
        check();
        return std::move(m_value);
    }

private:
    void check() const {
        if (WY_FAILED(m_code))
            throw call_error(m_code);
    }

    std::uint32_t m_code;
    T m_value;
};

template <>
class [[nodiscard]] result<void> {
public:
    explicit result(std::uint32_t code) noexcept : m_code(code) {}

    explicit operator bool() const noexcept { return WY_SUCCEEDED(m_code); }
    std::uint32_t code() const noexcept { return m_code; }
    // Raises call_error for a call that failed.
    void value() const {
        if (WY_FAILED(m_code))
            throw call_error(m_code);
    }

private:
    std::uint32_t m_code;
};

namespace detail {

// One call with one output: `call` takes the place for it and returns the code.
template <class Call>
result<text> fetch_text(Call call) {
    text value;
    const std::uint32_t code = call(value.put());
    return {code, std::move(value)};
}

template <class T, class Call>
result<T> fetch(Call call) {
    T value{};
    const std::uint32_t code = call(value);
    return {code, std::move(value)};
}

}  // namespace detail

}  // namespace wy

#endif
