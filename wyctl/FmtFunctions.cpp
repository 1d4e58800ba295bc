// The functions of fmt that are not templates of the caller, compiled once. Debian's package brings
// their text as a header and their code for its own system alone.

#include <fmt/format-inl.h>

FMT_BEGIN_NAMESPACE
namespace detail {

template FMT_API auto dragonbox::to_decimal(float number) noexcept -> dragonbox::decimal_fp<float>;
template FMT_API auto dragonbox::to_decimal(double number) noexcept
    -> dragonbox::decimal_fp<double>;
template FMT_API auto thousands_sep_impl(locale_ref locale) -> thousands_sep_result<char>;
template FMT_API auto decimal_point_impl(locale_ref locale) -> char;
template FMT_API void buffer<char>::append(const char* begin, const char* end);
template FMT_API void vformat_to(buffer<char>& buffer, string_view format,
                                 basic_format_args<FMT_BUFFER_CONTEXT(char)> arguments,
                                 locale_ref locale);

}  // namespace detail
FMT_END_NAMESPACE
