// devhostCaller API FILE: makes one call of the host and writes the transport's result into FILE.

#include <fstream>
#include <string>

#include "Common/KrCommon/KrComn_Windows.h"
#include "unit/devhost/HostRunner.h"

int wmain(int count, wchar_t** arguments) {
    if (count != 3)
        return 2;
    const CallResult call = HostClient::Call(static_cast<std::uint32_t>(std::stoul(arguments[1])));
    std::ofstream(arguments[2]) << call.result;
    return 0;
}
