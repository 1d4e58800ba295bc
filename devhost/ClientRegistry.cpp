#include "devhost/ClientRegistry.h"

#include <algorithm>

namespace DevHost {

namespace {

constexpr std::size_t kUuidLength = 36;

bool IsUuidCharacter(std::size_t position, char character) {
    if (position == 8 || position == 13 || position == 18 || position == 23) {
        return character == '-';
    }
    return (character >= '0' && character <= '9') || (character >= 'a' && character <= 'f') ||
           (character >= 'A' && character <= 'F');
}

}  // namespace

bool IsEndpointKey(const std::string& key) {
    if (key.size() != kUuidLength)
        return false;
    for (std::size_t i = 0; i < key.size(); ++i) {
        if (!IsUuidCharacter(i, key[i]))
            return false;
    }
    return true;
}

ClientRegistry::Outcome ClientRegistry::Register(const Client& client,
                                                 std::vector<std::string>& replaced) {
    if (!IsEndpointKey(client.key) || client.processId == kNoProcess)
        return Outcome::kBadKey;
    const std::scoped_lock lock(m_Mutex);
    for (auto it = m_mapClient.begin(); it != m_mapClient.end();) {
        if (it->first == client.key || it->second.processId == client.processId) {
            replaced.push_back(it->first);
            it = m_mapClient.erase(it);
        } else {
            ++it;
        }
    }
    if (m_mapClient.size() >= kLimit)
        return Outcome::kFull;
    m_mapClient.emplace(client.key, client);
    return replaced.empty() ? Outcome::kAdded : Outcome::kReplaced;
}

std::map<std::string, Client>::const_iterator ClientRegistry::Locate(
    const std::string& key, std::uint32_t processId) const {
    const auto found = m_mapClient.find(key);
    if (found != m_mapClient.end())
        return found;
    return std::find_if(m_mapClient.begin(), m_mapClient.end(),
                        [&](const auto& entry) { return entry.second.processId == processId; });
}

std::optional<Client> ClientRegistry::Unregister(const std::string& key, std::uint32_t processId) {
    const std::scoped_lock lock(m_Mutex);
    const auto found = Locate(key, processId);
    if (found == m_mapClient.end())
        return std::nullopt;
    Client client = found->second;
    m_mapClient.erase(found);
    return client;
}

std::optional<Client> ClientRegistry::UnregisterTracking(const std::string& trackingId) {
    const std::scoped_lock lock(m_Mutex);
    const auto found = std::find_if(m_mapClient.begin(), m_mapClient.end(), [&](const auto& entry) {
        return entry.second.trackingId == trackingId;
    });
    if (found == m_mapClient.end())
        return std::nullopt;
    Client client = found->second;
    m_mapClient.erase(found);
    return client;
}

std::optional<Client> ClientRegistry::Find(const std::string& key, std::uint32_t processId) const {
    const std::scoped_lock lock(m_Mutex);
    const auto found = Locate(key, processId);
    if (found == m_mapClient.end())
        return std::nullopt;
    return found->second;
}

std::vector<Client> ClientRegistry::All() const {
    const std::scoped_lock lock(m_Mutex);
    std::vector<Client> clients;
    clients.reserve(m_mapClient.size());
    for (const auto& [key, client] : m_mapClient)
        clients.push_back(client);
    return clients;
}

}  // namespace DevHost
