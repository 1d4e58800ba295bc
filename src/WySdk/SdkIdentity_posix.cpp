#include "WySdk/SdkIdentity.h"

CSdkIdentity::CSdkIdentity() = default;
