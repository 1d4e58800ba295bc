#include "Common/KrCommon/KrComn_CreationNames.h"
#include "Common/KrCommon/KrComn_ErrorOut.h"
#include "Common/KrCommon/KrComn_Event.h"

namespace KrCommon::Synchronize {

Event::~Event() = default;

bool Event::CreateMultipleGlobal(const std::wstring& name, Reset reset,
                                 AccessControl::SecurityAttributes& attributes,
                                 std::uint32_t* error) noexcept try {
    const CreationNames names(name);
    const BOOL manual = reset == Reset::kManual ? TRUE : FALSE;
    const HANDLE event =
        CreateEventW(attributes.ForCall(), manual, FALSE, names.GetGlobalName().c_str());
    if (event == nullptr)
        return Fail(error, GetLastError());
    m_hEvent.reset(event);
    return Succeed(error);
} catch (...) {
    return Fail(error, ERROR_NOT_ENOUGH_MEMORY);
}

}  // namespace KrCommon::Synchronize
