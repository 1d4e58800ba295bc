#include "WySdk/SdkOutput.h"

#include <algorithm>

wchar_t* AllocateOutputText(std::wstring_view text) noexcept {
    if (text.empty())
        return nullptr;
    auto* block = static_cast<wchar_t*>(AllocateOutput((text.size() + 1) * sizeof(wchar_t)));
    if (block != nullptr)
        *std::copy(text.begin(), text.end(), block) = L'\0';
    return block;
}
