#include <atomic>
#include <boost/uuid/uuid.hpp>
#include <boost/uuid/uuid_generators.hpp>
#include <boost/uuid/uuid_io.hpp>
#include <cstring>
#include <string>

#include "utilRPC/rpc_platform.h"

bool RpcPlatform::NewUuidText(char (&text)[kUuidTextSize]) {
    // Seeded once a thread: opening the system's generator for each id would cost more than a call.
    thread_local boost::uuids::random_generator_mt19937 generator;
    const std::string made = boost::uuids::to_string(generator());
    std::memcpy(text, made.c_str(), kUuidTextSize);
    return true;
}

// Outside Windows an event is a flag.
void RpcPlatform::SignalEvent(void* event) {
    static_cast<std::atomic<bool>*>(event)->store(true);
}
