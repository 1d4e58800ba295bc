#include "Framework/utilIPC/ipc_component_id.h"

CComponentID::CComponentID(const wchar_t* name) {
    for (std::size_t i = 0; name != nullptr && name[i] != L'\0' && i + 1 < kCapacity; ++i) {
        m_szName[i] = name[i];
    }
}

const wchar_t* CComponentID::GetName() const {
    return m_szName;
}
