#pragma once

// The clients that have registered for events.

#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace DevHost {

// One registered process.
struct Client {
    std::string key;         // its callback endpoint, a UUID in text form
    std::string trackingId;  // under which it expects its events
    std::uint32_t processId = 0;
    std::wstring name;
};

// No process has this id: a search with it finds keys alone.
constexpr std::uint32_t kNoProcess = 0xffffffff;

// True for 36 characters in the form of a UUID: only such a key is ever bound to.
bool IsEndpointKey(const std::string& key);

// The table of clients by key. A process has one registration at most: registering again takes the
// older one out. All operations may run on any thread.
class ClientRegistry {
public:
    // A fault of a client must not fill the memory of the host.
    static constexpr std::size_t kLimit = 1000;

    enum class Outcome { kAdded, kReplaced, kBadKey, kFull };

    // `replaced` receives the keys of registrations of the same process that went.
    Outcome Register(const Client& client, std::vector<std::string>& replaced);

    // Takes out the client of this key or, without one, of this process; gives what was found.
    std::optional<Client> Unregister(const std::string& key, std::uint32_t processId);

    // Takes out the client that registered under this tracking id.
    std::optional<Client> UnregisterTracking(const std::string& trackingId);

    // The client of this key or, without one, of this process: a client that had to renew its
    // callback endpoint in the middle of a session sends mail under a new key.
    std::optional<Client> Find(const std::string& key, std::uint32_t processId) const;

    std::vector<Client> All() const;

private:
    std::map<std::string, Client>::const_iterator Locate(const std::string& key,
                                                         std::uint32_t processId) const;

    mutable std::mutex m_Mutex;
    std::map<std::string, Client> m_mapClient;
};

}  // namespace DevHost
