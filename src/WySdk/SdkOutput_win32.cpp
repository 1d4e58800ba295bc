#include "Common/KrCommon/KrComn_Windows.h"
#include "WySdk/SdkOutput.h"

void* AllocateOutput(std::size_t size) noexcept {
    return LocalAlloc(0, size);
}
