#pragma once

// Complete images of the wire, field by field, written down from the format, not by the
// code that they test.
//
// A record is {parameter id, type tag, payload length} and its payload; a nested message is a
// record of type 0x64. Deeper indentation is inside the message above.

#include "support/HexBytes.h"

// One field to a line, with its meaning behind it.
// clang-format off

namespace test_support::golden {

// The identifiers that the images were made with.
constexpr const char* kSessionKey = "5d1c8f8e-0b62-4f6a-9d57-3a1f0c2e7b10";
constexpr const char* kTrackingId = "c0a80164-7e2d-4b91-8f3c-6d5e4f3a2b1c";
constexpr std::uint32_t kProcessId = 0x1234;
constexpr std::uint32_t kThreadId = 0x5678;

// A request as it leaves the process: WyScan(1, L"a,b", &text).
inline Bytes ScanRequest() {
    return FromHex(
        "51 20 00 00"  // message id: 8273, send a mail
        "25 02 00 00"  // 549 bytes of image
        "0b 00 01 00  64 00 00 00  19 02 00 00"  // RPC_MSG_MAIN, 537 bytes
        "  43 06 02 00  01 00 00 00  25 00 00 00"  // CLIENT_SESSION_KEY, narrow text, 37 bytes
        // "5d1c8f8e-0b62-4f6a-9d57-3a1f0c2e7b10"
        "    35 64 31 63 38 66 38 65 2d 30 62 36 32 2d 34 66 36 61 2d 39"
        "    64 35 37 2d 33 61 31 66 30 63 32 65 37 62 31 30 00"
        "  09 07 02 00  07 00 00 00  04 00 00 00"  // BODY_ID, unsigned, 4 bytes
        "    05 00 01 00"  // RPC_MSG_COMMAND
        "  05 00 01 00  64 00 00 00  cc 01 00 00"  // RPC_MSG_COMMAND, 460 bytes
        "    0a 00 01 00  64 00 00 00  99 00 00 00"  // RPC_MSG_CONTEXT, 153 bytes
        "      d3 07 02 00  01 00 00 00  01 00 00 00"  // TRACKING_ID (context), narrow text, 1 byte
        "        00"  // empty
        "      02 00 01 00  64 00 00 00  80 00 00 00"  // RPC_MSG_SESSION, 128 bytes
        "        6d 07 02 00  01 00 00 00  01 00 00 00"  // SESSION_ID, narrow text, 1 byte
        "          00"  // empty
        "        6e 07 02 00  01 00 00 00  01 00 00 00"  // CLIENT_KEY, narrow text, 1 byte
        "          00"  // empty
        "        01 00 01 00  64 00 00 00  5a 00 00 00"  // RPC_MSG_CLIENT_INFO, 90 bytes
        "          41 06 02 00  07 00 00 00  04 00 00 00"  // CLIENT_TYPE, unsigned, 4 bytes
        "            00 00 00 00"  // 0
        "          40 06 02 00  02 00 00 00  02 00 00 00"  // CLIENT_NAME, wide text, 2 bytes
        "            00 00"  // empty
        "          03 00 01 00  64 00 00 00  30 00 00 00"  // RPC_MSG_VERSION, 48 bytes
        "            99 08 02 00  07 00 00 00  04 00 00 00"  // VERSION_MAJOR, unsigned, 4 bytes
        "              00 00 00 00"  // 0
        "            9a 08 02 00  07 00 00 00  04 00 00 00"  // VERSION_MINOR, unsigned, 4 bytes
        "              00 00 00 00"  // 0
        "            9b 08 02 00  07 00 00 00  04 00 00 00"  // VERSION_BUILD, unsigned, 4 bytes
        "              00 00 00 00"  // 0
        "    d3 07 02 00  01 00 00 00  25 00 00 00"  // TRACKING_ID, narrow text, 37 bytes
        // "c0a80164-7e2d-4b91-8f3c-6d5e4f3a2b1c"
        "      63 30 61 38 30 31 36 34 2d 37 65 32 64 2d 34 62 39 31 2d 38"
        "      66 33 63 2d 36 64 35 65 34 66 33 61 32 62 31 63 00"
        "    2c 01 02 00  07 00 00 00  04 00 00 00"  // COMMAND_ID, unsigned, 4 bytes
        "      51 20 00 00"  // 8273, send a mail
        "    2d 01 02 00  06 00 00 00  04 00 00 00"  // COMMAND_FLAG, signed, 4 bytes
        "      01 00 00 00"  // 1
        "    14 00 01 00  64 00 00 00  ca 00 00 00"  // RPC_MSG_PRODUCT_DATA, 202 bytes
        "      1d 00 0e 00  07 00 00 00  04 00 00 00"  // PACKER_PARAM, unsigned, 4 bytes
        "        14 00 01 00"  // RPC_MSG_PRODUCT_DATA
        "      14 00 01 00  64 00 00 00  ae 00 00 00"  // RPC_MSG_PRODUCT_DATA, 174 bytes
        "        1f 00 0e 00  02 00 00 00  52 00 00 00"  // JSON_STRING, wide text, 82 bytes
        // "{"activeSessionId":1,"items":["a","b"]}\n"
        "          7b 00 22 00 61 00 63 00 74 00 69 00 76 00 65 00 53 00 65 00"
        "          73 00 73 00 69 00 6f 00 6e 00 49 00 64 00 22 00 3a 00 31 00"
        "          2c 00 22 00 69 00 74 00 65 00 6d 00 73 00 22 00 3a 00 5b 00"
        "          22 00 61 00 22 00 2c 00 22 00 62 00 22 00 5d 00 7d 00 0a 00"
        "          00 00"
        "        1e 00 0e 00  06 00 00 00  04 00 00 00"  // MAIL_FLAG, signed, 4 bytes
        "          00 00 00 00"  // false
        "        0e 00 0e 00  07 00 00 00  04 00 00 00"  // PROCESS_ID, unsigned, 4 bytes
        "          34 12 00 00"  // 0x1234
        "        20 00 0e 00  07 00 00 00  04 00 00 00"  // THREAD_ID, unsigned, 4 bytes
        "          78 56 00 00"  // 0x5678
        "        01 00 0e 00  07 00 00 00  04 00 00 00"  // DEST_ID, unsigned, 4 bytes
        "          09 00 4e 00"  // 0x4e0009, an API call
        "        0f 00 0e 00  07 00 00 00  04 00 00 00"  // MAIL_ID, unsigned, 4 bytes
        "          00 84 d7 17");  // 400000000, WyScan
}

// The reply to it: the plug-in was content and gave a session id.
inline Bytes ScanReply() {
    return FromHex(
        "ca 00 00 00"  // marker of success
        "03 01 00 00"  // 259 bytes of image
        "0b 00 01 00  64 00 00 00  f7 00 00 00"  // RPC_MSG_MAIN, 247 bytes
        "  d3 07 02 00  01 00 00 00  25 00 00 00"  // TRACKING_ID, narrow text, 37 bytes
        // "c0a80164-7e2d-4b91-8f3c-6d5e4f3a2b1c"
        "    63 30 61 38 30 31 36 34 2d 37 65 32 64 2d 34 62 39 31 2d 38"
        "    66 33 63 2d 36 64 35 65 34 66 33 61 32 62 31 63 00"
        "  08 07 02 00  06 00 00 00  04 00 00 00"  // RESULT_CODE, signed, 4 bytes
        "    00 00 ff 20"  // success
        "  09 07 02 00  06 00 00 00  04 00 00 00"  // BODY_ID, signed, 4 bytes
        "    14 00 01 00"  // RPC_MSG_PRODUCT_DATA
        "  14 00 01 00  64 00 00 00  9a 00 00 00"  // RPC_MSG_PRODUCT_DATA, 154 bytes
        "    1a 00 0e 00  07 00 00 00  04 00 00 00"  // MAILRESULT, unsigned, 4 bytes
        "      00 00 ff 20"  // success
        "    1d 00 0e 00  07 00 00 00  04 00 00 00"  // PACKER_PARAM, unsigned, 4 bytes
        "      14 00 01 00"  // RPC_MSG_PRODUCT_DATA
        "    14 00 01 00  64 00 00 00  6e 00 00 00"  // RPC_MSG_PRODUCT_DATA, 110 bytes
        "      1f 00 0e 00  02 00 00 00  62 00 00 00"  // JSON_STRING, wide text, 98 bytes
        // "{"data":{"sessionId":"s1"},"retCode":553582592}\n"
        "        7b 00 22 00 64 00 61 00 74 00 61 00 22 00 3a 00 7b 00 22 00"
        "        73 00 65 00 73 00 73 00 69 00 6f 00 6e 00 49 00 64 00 22 00"
        "        3a 00 22 00 73 00 31 00 22 00 7d 00 2c 00 22 00 72 00 65 00"
        "        74 00 43 00 6f 00 64 00 65 00 22 00 3a 00 35 00 35 00 33 00"
        "        35 00 38 00 32 00 35 00 39 00 32 00 7d 00 0a 00 00 00");
}

// The request that makes a process known; its tracking id is its own session key.
inline Bytes RegisterRequest() {
    return FromHex(
        "52 20 00 00"  // message id: 8274, register this process
        "8b 01 00 00"  // 395 bytes of image
        "0b 00 01 00  64 00 00 00  7f 01 00 00"  // RPC_MSG_MAIN, 383 bytes
        "  43 06 02 00  01 00 00 00  25 00 00 00"  // CLIENT_SESSION_KEY, narrow text, 37 bytes
        // "5d1c8f8e-0b62-4f6a-9d57-3a1f0c2e7b10"
        "    35 64 31 63 38 66 38 65 2d 30 62 36 32 2d 34 66 36 61 2d 39"
        "    64 35 37 2d 33 61 31 66 30 63 32 65 37 62 31 30 00"
        "  09 07 02 00  07 00 00 00  04 00 00 00"  // BODY_ID, unsigned, 4 bytes
        "    05 00 01 00"  // RPC_MSG_COMMAND
        "  05 00 01 00  64 00 00 00  32 01 00 00"  // RPC_MSG_COMMAND, 306 bytes
        "    0a 00 01 00  64 00 00 00  99 00 00 00"  // RPC_MSG_CONTEXT, 153 bytes
        "      d3 07 02 00  01 00 00 00  01 00 00 00"  // TRACKING_ID (context), narrow text, 1 byte
        "        00"  // empty
        "      02 00 01 00  64 00 00 00  80 00 00 00"  // RPC_MSG_SESSION, 128 bytes
        "        6d 07 02 00  01 00 00 00  01 00 00 00"  // SESSION_ID, narrow text, 1 byte
        "          00"  // empty
        "        6e 07 02 00  01 00 00 00  01 00 00 00"  // CLIENT_KEY, narrow text, 1 byte
        "          00"  // empty
        "        01 00 01 00  64 00 00 00  5a 00 00 00"  // RPC_MSG_CLIENT_INFO, 90 bytes
        "          41 06 02 00  07 00 00 00  04 00 00 00"  // CLIENT_TYPE, unsigned, 4 bytes
        "            00 00 00 00"  // 0
        "          40 06 02 00  02 00 00 00  02 00 00 00"  // CLIENT_NAME, wide text, 2 bytes
        "            00 00"  // empty
        "          03 00 01 00  64 00 00 00  30 00 00 00"  // RPC_MSG_VERSION, 48 bytes
        "            99 08 02 00  07 00 00 00  04 00 00 00"  // VERSION_MAJOR, unsigned, 4 bytes
        "              00 00 00 00"  // 0
        "            9a 08 02 00  07 00 00 00  04 00 00 00"  // VERSION_MINOR, unsigned, 4 bytes
        "              00 00 00 00"  // 0
        "            9b 08 02 00  07 00 00 00  04 00 00 00"  // VERSION_BUILD, unsigned, 4 bytes
        "              00 00 00 00"  // 0
        "    d3 07 02 00  01 00 00 00  25 00 00 00"  // TRACKING_ID, narrow text, 37 bytes
        // "5d1c8f8e-0b62-4f6a-9d57-3a1f0c2e7b10"
        "      35 64 31 63 38 66 38 65 2d 30 62 36 32 2d 34 66 36 61 2d 39"
        "      64 35 37 2d 33 61 31 66 30 63 32 65 37 62 31 30 00"
        "    2c 01 02 00  07 00 00 00  04 00 00 00"  // COMMAND_ID, unsigned, 4 bytes
        "      52 20 00 00"  // 8274, register this process
        "    2d 01 02 00  06 00 00 00  04 00 00 00"  // COMMAND_FLAG, signed, 4 bytes
        "      00 00 00 00"  // 0
        "    14 00 01 00  64 00 00 00  30 00 00 00"  // RPC_MSG_PRODUCT_DATA, 48 bytes
        "      0d 00 0e 00  02 00 00 00  14 00 00 00"  // CLIENT_NAME, wide text, 20 bytes
        "        57 00 79 00 43 00 6f 00 6e 00 73 00 6f 00 6c 00 65 00 00 00"  // "WyConsole"
        "      0e 00 0e 00  07 00 00 00  04 00 00 00"  // PROCESS_ID, unsigned, 4 bytes
        "        34 12 00 00");  // 0x1234
}

// An event as the service sends it to the callback endpoint.
inline Bytes EventDelivery() {
    return FromHex(
        "08 20 00 00"  // message id: 8200, a command result
        "c1 00 00 00"  // 193 bytes of image
        "0b 00 01 00  64 00 00 00  b5 00 00 00"  // RPC_MSG_MAIN, 181 bytes
        "  d3 07 02 00  01 00 00 00  25 00 00 00"  // TRACKING_ID, narrow text, 37 bytes
        // "5d1c8f8e-0b62-4f6a-9d57-3a1f0c2e7b10"
        "    35 64 31 63 38 66 38 65 2d 30 62 36 32 2d 34 66 36 61 2d 39"
        "    64 35 37 2d 33 61 31 66 30 63 32 65 37 62 31 30 00"
        "  08 07 02 00  06 00 00 00  04 00 00 00"  // RESULT_CODE, signed, 4 bytes
        "    00 00 00 00"  // 0
        "  09 07 02 00  06 00 00 00  04 00 00 00"  // BODY_ID, signed, 4 bytes
        "    14 00 01 00"  // RPC_MSG_PRODUCT_DATA
        "  14 00 01 00  64 00 00 00  58 00 00 00"  // RPC_MSG_PRODUCT_DATA, 88 bytes
        "    1f 00 0e 00  02 00 00 00  4c 00 00 00"  // JSON_STRING, wide text, 76 bytes
        // "{"eventId":7,"param":{"percent":50}}\n"
        "      7b 00 22 00 65 00 76 00 65 00 6e 00 74 00 49 00 64 00 22 00"
        "      3a 00 37 00 2c 00 22 00 70 00 61 00 72 00 61 00 6d 00 22 00"
        "      3a 00 7b 00 22 00 70 00 65 00 72 00 63 00 65 00 6e 00 74 00"
        "      22 00 3a 00 35 00 30 00 7d 00 7d 00 0a 00 00 00");
}

// What the library answers to it when the application was content.
inline Bytes EventAnswer() {
    return FromHex(
        "ca 00 00 00"  // marker of success
        "9d 00 00 00"  // 157 bytes of image
        "0b 00 01 00  64 00 00 00  91 00 00 00"  // RPC_MSG_MAIN, 145 bytes
        "  d3 07 02 00  01 00 00 00  01 00 00 00"  // TRACKING_ID, narrow text, 1 byte
        "    00"  // empty
        "  08 07 02 00  06 00 00 00  04 00 00 00"  // RESULT_CODE, signed, 4 bytes
        "    00 00 ff 20"  // what the event callback returned
        "  09 07 02 00  06 00 00 00  04 00 00 00"  // BODY_ID, signed, 4 bytes
        "    14 00 01 00"  // RPC_MSG_PRODUCT_DATA
        "  14 00 01 00  64 00 00 00  58 00 00 00"  // RPC_MSG_PRODUCT_DATA, 88 bytes
        "    1f 00 0e 00  02 00 00 00  4c 00 00 00"  // JSON_STRING, wide text, 76 bytes
        // "{"eventId":7,"param":{"percent":50}}\n"
        "      7b 00 22 00 65 00 76 00 65 00 6e 00 74 00 49 00 64 00 22 00"
        "      3a 00 37 00 2c 00 22 00 70 00 61 00 72 00 61 00 6d 00 22 00"
        "      3a 00 7b 00 22 00 70 00 65 00 72 00 63 00 65 00 6e 00 74 00"
        "      22 00 3a 00 35 00 30 00 7d 00 7d 00 0a 00 00 00");
}

// What the library answers to a delivery under a tracking id that it does not have.
inline Bytes UnknownTrackingIdAnswer() {
    return FromHex(
        "ca 00 00 00"  // marker of success
        "39 00 00 00"  // 57 bytes of image
        "0b 00 01 00  64 00 00 00  2d 00 00 00"  // RPC_MSG_MAIN, 45 bytes
        "  d3 07 02 00  01 00 00 00  01 00 00 00"  // TRACKING_ID, narrow text, 1 byte
        "    00"  // empty
        "  08 07 02 00  06 00 00 00  04 00 00 00"  // RESULT_CODE, signed, 4 bytes
        "    18 00 ff e0"  // no such tracking id
        "  09 07 02 00  06 00 00 00  04 00 00 00"  // BODY_ID, signed, 4 bytes
        "    00 00 00 00");  // none
}

// The failure envelope that the client makes of a call to a service that is not there.
inline Bytes FailureEnvelope() {
    return FromHex(
        "02 00 00 00"                     // marker of failure
        "ba 06 00 00"                     // 1722, the status of the RPC runtime
        "0a 00 00 00"                     // 10 bytes of wide text with its terminator
        "31 00 37 00 32 00 32 00 00 00");  // "1722"
}

// The answer of a service that does not know this client.
inline Bytes UnknownClientEnvelope() {
    return FromHex(
        "02 00 00 00"                     // marker of failure
        "03 08 00 00"                     // 0x803
        "0a 00 00 00"                     // 10 bytes of wide text with its terminator
        "32 00 30 00 35 00 31 00 00 00");  // "2051"
}

// clang-format on

}  // namespace test_support::golden
