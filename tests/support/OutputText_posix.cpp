#include <cstdlib>

#include "support/OutputText.h"

void test_support::FreeOutput(void* block) {
    std::free(block);
}
