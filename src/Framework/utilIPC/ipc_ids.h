#pragma once

// The numbers of the wire.
//
// Three kinds are in use and never mix within one field: ids of envelopes (which are also command
// ids), ids of parameter messages (which name the record structure a message has), and ids of
// parameters.

#include <cstdint>

// Envelope message ids.
constexpr std::uint32_t IPC_MSG_COMMAND_RESULT = 0x2008;      // service to callback endpoint
constexpr std::uint32_t IPC_MSG_DESTROY_CONTEXT = 0x200E;     // library to service
constexpr std::uint32_t IPC_MSG_SEND_MAIL = 0x2051;           // library to service
constexpr std::uint32_t IPC_MSG_REGISTER_PROCESS = 0x2052;    // library to service
constexpr std::uint32_t IPC_MSG_UNREGISTER_PROCESS = 0x2053;  // library to service

// First word of a reply envelope.
constexpr std::uint32_t IPC_REPLY_FAILURE = 2;
constexpr std::uint32_t IPC_REPLY_SUCCESS = 202;  // any value but IPC_REPLY_FAILURE means success

// Ids of parameter messages.
constexpr std::uint32_t RPC_MSG_CLIENT_INFO = 0x10001;   // identity block of RPC_MSG_SESSION
constexpr std::uint32_t RPC_MSG_SESSION = 0x10002;       // session block of RPC_MSG_CONTEXT
constexpr std::uint32_t RPC_MSG_VERSION = 0x10003;       // three numbers of RPC_MSG_CLIENT_INFO
constexpr std::uint32_t RPC_MSG_COMMAND = 0x10005;       // a command and its context
constexpr std::uint32_t RPC_MSG_CONTEXT = 0x1000A;       // context identity
constexpr std::uint32_t RPC_MSG_MAIN = 0x1000B;          // outer wrapper of requests and replies
constexpr std::uint32_t RPC_MSG_PRODUCT_DATA = 0x10014;  // payload of the product adapter

// Parameters of the transport.
constexpr std::uint32_t ID_DATA_COMMAND_ID = 0x2012C;          // unsigned
constexpr std::uint32_t ID_DATA_COMMAND_FLAG = 0x2012D;        // signed
constexpr std::uint32_t ID_DATA_CLIENT_NAME = 0x20640;         // wide string
constexpr std::uint32_t ID_DATA_CLIENT_TYPE = 0x20641;         // unsigned
constexpr std::uint32_t ID_DATA_CLIENT_SESSION_KEY = 0x20643;  // narrow string, UUID of the sender
constexpr std::uint32_t ID_DATA_RESULT_CODE = 0x20708;         // signed
constexpr std::uint32_t ID_DATA_BODY_ID = 0x20709;             // unsigned or signed
constexpr std::uint32_t ID_DATA_SESSION_ID = 0x2076D;          // narrow string
constexpr std::uint32_t ID_DATA_CLIENT_KEY = 0x2076E;          // narrow string
constexpr std::uint32_t ID_DATA_TRACKING_ID = 0x207D3;         // narrow string of 36 characters
constexpr std::uint32_t ID_DATA_VERSION_MAJOR = 0x20899;       // unsigned
constexpr std::uint32_t ID_DATA_VERSION_MINOR = 0x2089A;       // unsigned
constexpr std::uint32_t ID_DATA_VERSION_BUILD = 0x2089B;       // unsigned

// Parameters of the product adapter.
constexpr std::uint32_t ID_DATA_PRODUCTADAPTER_COMM_DEST_ID = 0xE0001;      // unsigned
constexpr std::uint32_t ID_DATA_PRODUCTADAPTER_COMM_CLIENT_NAME = 0xE000D;  // wide string
constexpr std::uint32_t ID_DATA_PRODUCTADAPTER_COMM_PROCESS_ID = 0xE000E;   // unsigned
constexpr std::uint32_t ID_DATA_PRODUCTADAPTER_COMM_MAIL_ID = 0xE000F;      // unsigned
constexpr std::uint32_t ID_DATA_PRODUCTADAPTER_COMM_MAILRESULT = 0xE001A;   // unsigned
constexpr std::uint32_t ID_DATA_PRODUCTADAPTER_PACKER_PARAM = 0xE001D;      // unsigned, message id
constexpr std::uint32_t ID_DATA_PRODUCTADAPTER_COMM_MAIL_FLAG = 0xE001E;    // signed, 0 or 1
constexpr std::uint32_t ID_DATA_PRODUCTADAPTER_COMM_JSON_STRING = 0xE001F;  // wide string
constexpr std::uint32_t ID_DATA_PRODUCTADAPTER_COMM_THREAD_ID = 0xE0020;    // unsigned
