#include "Common/KrCommon/KrComn_Exception.h"

namespace KrCommon::Exception {

// Here, so that the family's type information exists once.
Base::~Base() = default;

}  // namespace KrCommon::Exception
