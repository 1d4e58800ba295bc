// The exports of the update.

#include <WySdk/WySdk.h>

#include "WySdk/ApiCall.h"

uint32_t WYAPI WyUpdate(void) {
    return CallApi(L"WyUpdate");
}
