#include <atomic>
#include <boost/uuid/uuid.hpp>
#include <boost/uuid/uuid_generators.hpp>
#include <boost/uuid/uuid_io.hpp>

#include "utilRPC/rpc_platform.h"

std::string RpcPlatform::NewUuidText() {
    return boost::uuids::to_string(boost::uuids::random_generator()());
}

// Outside Windows an event is a flag.
void RpcPlatform::SignalEvent(void* event) {
    static_cast<std::atomic<bool>*>(event)->store(true);
}
