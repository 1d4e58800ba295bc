#include "Common/KrCommon/KrComn_Windows.h"
#include "support/OutputText.h"

void test_support::FreeOutput(void* block) {
    LocalFree(block);
}
