#include <cstdlib>

#include "WySdk/SdkOutput.h"

void* AllocateOutput(std::size_t size) noexcept {
    return std::malloc(size);
}
