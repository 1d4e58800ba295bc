// The same ten fields built and read in other formats, in one process with the library's own
// message, so that the ratios stand in one run.

#include <benchmark/benchmark.h>
#include <sys/socket.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

#include <cstring>
#include <msgpack.hpp>
#include <string>

#include "Framework/utilIPC/ipc_data_handle.h"
#include "native/TenFields.h"
#include "ten_fields.pb.h"

namespace {

using TenFields::kLarge;
using TenFields::kNumbers;
using TenFields::kTexts;

// The library's parameter message: four wide texts, six numbers (a 64-bit number as two records).
void ParameterMessage(benchmark::State& state) {
    std::wstring texts[4];
    for (int i = 0; i < 4; ++i) {
        texts[i].assign(kTexts[i], kTexts[i] + std::strlen(kTexts[i]));
    }
    for (auto _ : state) {
        CRpcDataHandleWrapper message(1U);
        std::uint32_t id = 1;
        for (const std::wstring& text : texts) {
            message.Set(id++, text.c_str(), static_cast<std::uint32_t>(text.size()));
        }
        for (const std::uint32_t number : kNumbers) {
            message.Set(id++, number);
        }
        for (const std::uint64_t number : kLarge) {
            message.Set(id++, static_cast<std::uint32_t>(number));
            message.Set(id++, static_cast<std::uint32_t>(number >> 32));
        }
        CRpcDataHandleWrapper received;
        received.Load(message.GetData(), message.GetSize());
        std::wstring text;
        std::uint32_t number = 0;
        for (id = 1; id <= 4; ++id) {
            received.Get(id, text);
            benchmark::DoNotOptimize(text);
        }
        for (; id <= 12; ++id) {
            received.Get(id, &number);
            benchmark::DoNotOptimize(number);
        }
    }
}

void Protobuf(benchmark::State& state) {
    for (auto _ : state) {
        wybench::TenFieldsMessage message;
        message.set_filter_param_disk_drive(kTexts[0]);
        message.set_category(kTexts[1]);
        message.set_session_id(kTexts[2]);
        message.set_feature(kTexts[3]);
        message.set_active_session_id(kNumbers[0]);
        message.set_progress(kNumbers[1]);
        message.set_api_number(kNumbers[2]);
        message.set_filter_param_high_bound(kNumbers[3]);
        message.set_filter_param_file_size(kLarge[0]);
        message.set_timestamp(kLarge[1]);
        const std::string bytes = message.SerializeAsString();
        wybench::TenFieldsMessage received;
        if (!received.ParseFromString(bytes)) {
            state.SkipWithError("the message does not parse");
            break;
        }
        benchmark::DoNotOptimize(received);
    }
}

void MessagePack(benchmark::State& state) {
    constexpr const char* names[] = {
        "filterParamDiskDrive", "category", "sessionId", "feature",
        "activeSessionId",      "progress", "apiNumber", "filterParamHighBound"};
    for (auto _ : state) {
        msgpack::sbuffer buffer;
        msgpack::packer<msgpack::sbuffer> packer(buffer);
        packer.pack_map(10);
        for (int i = 0; i < 4; ++i) {
            packer.pack(names[i]);
            packer.pack(kTexts[i]);
        }
        for (int i = 0; i < 4; ++i) {
            packer.pack(names[4 + i]);
            packer.pack(kNumbers[i]);
        }
        packer.pack("filterParamFileSize");
        packer.pack(kLarge[0]);
        packer.pack("timestamp");
        packer.pack(kLarge[1]);
        const msgpack::object_handle received = msgpack::unpack(buffer.data(), buffer.size());
        benchmark::DoNotOptimize(received.get().via.map.size);
    }
}

// A bus that is open enough to make messages and talks to nobody.
class UnconnectedBus {
public:
    UnconnectedBus() {
        if (socketpair(AF_UNIX, SOCK_STREAM, 0, m_Sockets) != 0 || sd_bus_new(&m_pBus) < 0 ||
            sd_bus_set_fd(m_pBus, m_Sockets[0], m_Sockets[0]) < 0 || sd_bus_start(m_pBus) < 0) {
            m_bOk = false;
        }
    }
    UnconnectedBus(const UnconnectedBus&) = delete;
    UnconnectedBus& operator=(const UnconnectedBus&) = delete;
    ~UnconnectedBus() {
        sd_bus_close(m_pBus);
        sd_bus_unref(m_pBus);
        close(m_Sockets[1]);
    }
    bool IsOk() const { return m_bOk; }
    sd_bus* Get() const { return m_pBus; }

private:
    int m_Sockets[2] = {-1, -1};
    sd_bus* m_pBus = nullptr;
    bool m_bOk = true;
};

bool BuildAndReadBusMessage(sd_bus* bus) {
    sd_bus_message* message = nullptr;
    if (sd_bus_message_new_method_call(bus, &message, "com.example.Wy", "/wy", "com.example.Wy",
                                       "Call") < 0) {
        return false;
    }
    const bool built = sd_bus_message_append(message, "ssssuuuutt", kTexts[0], kTexts[1], kTexts[2],
                                             kTexts[3], kNumbers[0], kNumbers[1], kNumbers[2],
                                             kNumbers[3], kLarge[0], kLarge[1]) >= 0 &&
                       sd_bus_message_seal(message, 1, 0) >= 0 &&
                       sd_bus_message_rewind(message, 1) >= 0;
    const char* texts[4] = {};
    std::uint32_t numbers[4] = {};
    std::uint64_t large[2] = {};
    const bool read =
        built && sd_bus_message_read(message, "ssssuuuutt", &texts[0], &texts[1], &texts[2],
                                     &texts[3], &numbers[0], &numbers[1], &numbers[2], &numbers[3],
                                     &large[0], &large[1]) >= 0;
    benchmark::DoNotOptimize(large);
    sd_bus_message_unref(message);
    return read && numbers[2] == kNumbers[2];
}

void SdBus(benchmark::State& state) {
    const UnconnectedBus bus;
    for (auto _ : state) {
        if (!bus.IsOk() || !BuildAndReadBusMessage(bus.Get())) {
            state.SkipWithError("no sd-bus message");
            break;
        }
    }
}

BENCHMARK(ParameterMessage);
BENCHMARK(Protobuf);
BENCHMARK(MessagePack);
BENCHMARK(SdBus);

}  // namespace
