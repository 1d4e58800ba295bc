#include "wyctl/WireNames.h"

#include <fmt/format.h>

#include <span>

#include "Framework/utilIPC/ipc_ids.h"
#include "wyctl/ApiDirectory.h"
#include "wyctl/ResultCodes.h"

namespace WyCtl {

namespace {

struct Name {
    std::uint32_t number;
    const char* text;
};

// Destinations of mail, with the product number in the high half.
constexpr Name kDestinations[] = {
    {0x4e0009, "API call"},
    {0x4e000c, "connection monitor"},
    {0x4e0010, "update feedback"},
};

// The mail by which a session asks for a handle of the service's process.
constexpr std::uint32_t kMonitorMail = 35870;

constexpr Name kCommands[] = {
    {IPC_MSG_COMMAND_RESULT, "command result"},
    {IPC_MSG_DESTROY_CONTEXT, "destroy context"},
    {IPC_MSG_SEND_MAIL, "send mail"},
    {IPC_MSG_REGISTER_PROCESS, "register process"},
    {IPC_MSG_UNREGISTER_PROCESS, "unregister process"},
};

#define WYCTL_NAME(id) \
    Name {             \
        id, #id        \
    }

constexpr Name kMessages[] = {
    WYCTL_NAME(RPC_MSG_CLIENT_INFO),  WYCTL_NAME(RPC_MSG_SESSION), WYCTL_NAME(RPC_MSG_VERSION),
    WYCTL_NAME(RPC_MSG_COMMAND),      WYCTL_NAME(RPC_MSG_CONTEXT), WYCTL_NAME(RPC_MSG_MAIN),
    WYCTL_NAME(RPC_MSG_PRODUCT_DATA),
};

constexpr Name kParameters[] = {
    WYCTL_NAME(ID_DATA_COMMAND_ID),
    WYCTL_NAME(ID_DATA_COMMAND_FLAG),
    WYCTL_NAME(ID_DATA_CLIENT_NAME),
    WYCTL_NAME(ID_DATA_CLIENT_TYPE),
    WYCTL_NAME(ID_DATA_CLIENT_SESSION_KEY),
    WYCTL_NAME(ID_DATA_RESULT_CODE),
    WYCTL_NAME(ID_DATA_BODY_ID),
    WYCTL_NAME(ID_DATA_SESSION_ID),
    WYCTL_NAME(ID_DATA_CLIENT_KEY),
    WYCTL_NAME(ID_DATA_TRACKING_ID),
    WYCTL_NAME(ID_DATA_VERSION_MAJOR),
    WYCTL_NAME(ID_DATA_VERSION_MINOR),
    WYCTL_NAME(ID_DATA_VERSION_BUILD),
    WYCTL_NAME(ID_DATA_PRODUCTADAPTER_COMM_DEST_ID),
    WYCTL_NAME(ID_DATA_PRODUCTADAPTER_COMM_CLIENT_NAME),
    WYCTL_NAME(ID_DATA_PRODUCTADAPTER_COMM_PROCESS_ID),
    WYCTL_NAME(ID_DATA_PRODUCTADAPTER_COMM_MAIL_ID),
    WYCTL_NAME(ID_DATA_PRODUCTADAPTER_COMM_MAILRESULT),
    WYCTL_NAME(ID_DATA_PRODUCTADAPTER_PACKER_PARAM),
    WYCTL_NAME(ID_DATA_PRODUCTADAPTER_COMM_MAIL_FLAG),
    WYCTL_NAME(ID_DATA_PRODUCTADAPTER_COMM_JSON_STRING),
    WYCTL_NAME(ID_DATA_PRODUCTADAPTER_COMM_THREAD_ID),
};

#undef WYCTL_NAME

std::string Find(std::span<const Name> names, std::uint32_t number) {
    for (const Name& name : names) {
        if (name.number == number) {
            return name.text;
        }
    }
    return {};
}

std::string MailName(std::uint32_t mail) {
    if (mail == kMonitorMail) {
        return "handle of the service's process";
    }
    const Function* const function = FindFunctionById(mail);
    return function != nullptr ? function->name : std::string();
}

}  // namespace

std::string CommandName(std::uint32_t command) {
    return Find(kCommands, command);
}

std::string MessageName(std::uint32_t messageId) {
    return Find(kMessages, messageId);
}

std::string ParameterName(std::uint32_t parameterId) {
    return Find(kParameters, parameterId);
}

std::string ValueMeaning(std::uint32_t parameterId, std::uint32_t value) {
    switch (parameterId) {
        case ID_DATA_COMMAND_ID:
            return CommandName(value);
        case ID_DATA_RESULT_CODE:
        case ID_DATA_PRODUCTADAPTER_COMM_MAILRESULT:
            return fmt::format("{} {}", HexCode(value), DescribeResult(value));
        case ID_DATA_BODY_ID:
        case ID_DATA_PRODUCTADAPTER_PACKER_PARAM:
            return MessageName(value);
        case ID_DATA_PRODUCTADAPTER_COMM_DEST_ID:
            return Find(kDestinations, value);
        case ID_DATA_PRODUCTADAPTER_COMM_MAIL_ID:
            return MailName(value);
        default:
            return {};
    }
}

}  // namespace WyCtl
