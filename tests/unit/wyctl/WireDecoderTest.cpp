#include "wyctl/WireDecoder.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <random>

#include "FakeSdk.h"
#include "FakeTerminal.h"
#include "Framework/utilIPC/ipc_data_handle.h"
#include "Framework/utilIPC/ipc_ids.h"
#include "Framework/utilIPC/ipc_msg_buffer.h"
#include "wyctl/JsonText.h"
#include "wyctl/Program.h"

namespace {

using ::testing::HasSubstr;
using WyCtl::CaptureKind;
using WyCtl::DecodeCapture;
using WyCtl::WireCapture;
using WyCtl::WireField;
using Bytes = std::vector<std::uint8_t>;

Bytes BytesOf(const CAccBuffer& buffer) {
    return {buffer.GetData(), buffer.GetData() + buffer.GetLength()};
}

void AddWord(Bytes& bytes, std::uint32_t word) {
    for (int shift = 0; shift < 32; shift += 8) {
        bytes.push_back(static_cast<std::uint8_t>(word >> shift));
    }
}

// A mail as the product client helper packs it.
Bytes MailRequest() {
    CRpcDataHandleWrapper param(RPC_MSG_PRODUCT_DATA);
    param.Set(ID_DATA_PRODUCTADAPTER_COMM_JSON_STRING, L"{\"a\":\"\u20ac\"}\n");
    param.Set(ID_DATA_PRODUCTADAPTER_COMM_MAIL_FLAG, false);
    param.Set(ID_DATA_PRODUCTADAPTER_COMM_DEST_ID, 0x4e0009U);
    param.Set(ID_DATA_PRODUCTADAPTER_COMM_MAIL_ID, 400000000U);
    CRpcDataHandleWrapper command(RPC_MSG_COMMAND);
    command.Set(ID_DATA_TRACKING_ID, std::string("0123"));
    command.Set(ID_DATA_COMMAND_ID, IPC_MSG_SEND_MAIL);
    command.Set(param);
    CRpcDataHandleWrapper main(RPC_MSG_MAIN);
    main.Set(ID_DATA_CLIENT_SESSION_KEY, std::string("key"));
    main.Set(ID_DATA_BODY_ID, RPC_MSG_COMMAND);
    main.Set(command);
    CIPCMsgBuffer envelope(CIPCMsgBuffer::kBlockSize, false);
    envelope << IPC_MSG_SEND_MAIL << main;
    return BytesOf(envelope);
}

Bytes SuccessReply(std::uint32_t result) {
    CRpcDataHandleWrapper main(RPC_MSG_MAIN);
    main.Set(ID_DATA_RESULT_CODE, static_cast<std::int32_t>(result));
    CIPCMsgBuffer envelope(CIPCMsgBuffer::kBlockSize, false);
    envelope << IPC_REPLY_SUCCESS << main;
    return BytesOf(envelope);
}

Bytes FailureReply() {
    CIPCMsgBuffer envelope(CIPCMsgBuffer::kBlockSize, false);
    envelope << IPC_REPLY_FAILURE << 0x803U << L"who?";
    return BytesOf(envelope);
}

const WireField& Child(const WireField& field, std::size_t index) {
    static const WireField s_none;
    EXPECT_LT(index, field.fields.size()) << field.name;
    return index < field.fields.size() ? field.fields[index] : s_none;
}

TEST(WireDecoder, request_is_shown_with_names_nesting_and_offsets) {
    const WireCapture capture = DecodeCapture(MailRequest(), CaptureKind::Auto);
    EXPECT_TRUE(capture.problems.empty());
    EXPECT_EQ(capture.kind, CaptureKind::Request);
    ASSERT_EQ(capture.fields.size(), 3U);
    EXPECT_EQ(capture.fields[0].meaning, "send mail");
    EXPECT_EQ(capture.fields[1].value.asUInt(), MailRequest().size() - 8);
    const WireField& main = capture.fields[2];
    EXPECT_EQ(main.offset, 8U);
    EXPECT_EQ(main.name, "RPC_MSG_MAIN (0x1000b)");
    EXPECT_EQ(Child(main, 0).name, "ID_DATA_CLIENT_SESSION_KEY (0x20643)");
    EXPECT_EQ(Child(main, 0).offset, 20U);
    EXPECT_EQ(Child(main, 0).length, 12U + 4U);
    EXPECT_EQ(Child(main, 0).value.asString(), "key");
    EXPECT_EQ(Child(main, 1).meaning, "RPC_MSG_COMMAND");
    const WireField& command = Child(main, 2);
    EXPECT_EQ(Child(command, 1).meaning, "send mail");
    const WireField& data = Child(command, 2);
    EXPECT_EQ(data.name, "RPC_MSG_PRODUCT_DATA (0x10014)");
    EXPECT_EQ(Child(data, 0).type, "wide string");
    EXPECT_EQ(Child(data, 0).value.asString(), "{\"a\":\"\xe2\x82\xac\"}\n");
    EXPECT_EQ(Child(data, 1).type, "int32");
    EXPECT_EQ(Child(data, 2).meaning, "API call");
    EXPECT_EQ(Child(data, 3).meaning, "WyScan");
}

TEST(WireDecoder, replies_tell_their_result_in_words) {
    const WireCapture good = DecodeCapture(SuccessReply(0xe0ff0007), CaptureKind::Auto);
    EXPECT_TRUE(good.problems.empty());
    EXPECT_EQ(good.kind, CaptureKind::Reply);
    EXPECT_EQ(good.fields.at(0).meaning, "success");
    EXPECT_EQ(Child(good.fields.at(2), 0).value.asInt(), static_cast<int>(0xe0ff0007));
    EXPECT_THAT(Child(good.fields.at(2), 0).meaning, HasSubstr("0xe0ff0007 invalid argument"));

    const WireCapture bad = DecodeCapture(FailureReply(), CaptureKind::Auto);
    EXPECT_TRUE(bad.problems.empty());
    EXPECT_EQ(bad.fields.at(0).meaning, "failure");
    EXPECT_THAT(bad.fields.at(1).meaning, HasSubstr("0xe0010803"));
    EXPECT_EQ(bad.fields.at(3).value.asString(), "who?");
}

TEST(WireDecoder, bare_message_is_recognised) {
    CRpcDataHandleWrapper message(RPC_MSG_PRODUCT_DATA);
    message.Set(ID_DATA_PRODUCTADAPTER_COMM_PROCESS_ID, 5U);
    const Bytes bytes(message.GetData(), message.GetData() + message.GetSize());
    const WireCapture capture = DecodeCapture(bytes, CaptureKind::Auto);
    EXPECT_EQ(capture.kind, CaptureKind::Message);
    EXPECT_TRUE(capture.problems.empty());
    EXPECT_EQ(Child(capture.fields.at(0), 0).value.asUInt(), 5U);
    // Taken for a reply, the same bytes are a marker and a message that does not fit.
    EXPECT_FALSE(DecodeCapture(bytes, CaptureKind::Reply).problems.empty());
}

// A record of the given type and payload inside a bare message.
WireCapture DecodeRecord(std::uint32_t type, const Bytes& payload, std::uint32_t claimed) {
    Bytes bytes;
    AddWord(bytes, RPC_MSG_MAIN);
    AddWord(bytes, 100);
    AddWord(bytes, static_cast<std::uint32_t>(12 + payload.size()));
    AddWord(bytes, ID_DATA_COMMAND_ID);
    AddWord(bytes, type);
    AddWord(bytes, claimed);
    bytes.insert(bytes.end(), payload.begin(), payload.end());
    return DecodeCapture(bytes, CaptureKind::Message);
}

TEST(WireDecoder, malformed_records_are_located) {
    const struct {
        std::uint32_t type;
        Bytes payload;
        std::uint32_t claimed;
        std::size_t offset;
        const char* words;
    } rows[] = {
        {7, {1, 2, 3}, 3, 24, "a number has 4 bytes, this one 3"},
        {7, {1, 2, 3, 4}, 5, 12, "the payload of 5 bytes passes the end of its message by 1"},
        {7, {}, 0xffffffff, 12, "the payload of 4294967295 bytes passes the end"},
        {1, {'a', 'b'}, 2, 24, "the string has no terminator"},
        {1, {}, 0, 24, "the string has no terminator"},
        {2, {'a', 0, 0}, 3, 24, "an odd number"},
        {2, {'a', 0}, 2, 24, "the wide string has no terminator"},
        {2, {}, 0, 24, "the wide string has no terminator"},
        {55, {1}, 1, 16, "unknown type tag 55"},
        {0, {}, 0, 16, "unknown type tag 0"},
        {7, {1, 2, 3, 4, 9, 9}, 4, 28, "2 byte(s) where a record header needs 12"},
        {100, {1, 2, 3}, 3, 24, "3 byte(s) where a record header needs 12"},
    };
    for (const auto& row : rows) {
        const WireCapture capture = DecodeRecord(row.type, row.payload, row.claimed);
        ASSERT_FALSE(capture.problems.empty()) << row.words;
        EXPECT_EQ(capture.problems[0].offset, row.offset) << row.words;
        EXPECT_THAT(capture.problems[0].text, HasSubstr(row.words));
    }
}

TEST(WireDecoder, malformed_envelopes_are_located) {
    const struct {
        std::vector<std::uint32_t> words;
        std::size_t tail;  // bytes behind the words
        CaptureKind kind;
        std::size_t offset;
        const char* text;
    } rows[] = {
        {{}, 0, CaptureKind::Auto, 0, "the marker needs 4 bytes, 0 are left"},
        {{}, 3, CaptureKind::Request, 0, "the message id needs 4 bytes, 3 are left"},
        {{202}, 0, CaptureKind::Auto, 4, "the message size needs 4 bytes, 0 are left"},
        {{202, 0}, 0, CaptureKind::Auto, 4, "there is no message"},
        {{202, 0x80000000U}, 1, CaptureKind::Auto, 4, "there is no message"},
        {{202, 100}, 5, CaptureKind::Auto, 4, "the message of 100 bytes passes the end by 95"},
        {{202, 5}, 5, CaptureKind::Auto, 8, "a message header needs 12 bytes, 5 are left"},
        {{202, 12, 1, 99, 0}, 0, CaptureKind::Auto, 12, "type 99 in place of 100"},
        {{202, 12, 1, 100, 7}, 0, CaptureKind::Auto, 16, "counts 7 bytes, 0 are there"},
        {{202, 12, 1, 100, 0}, 2, CaptureKind::Auto, 20, "2 byte(s) behind the end"},
        {{2}, 0, CaptureKind::Auto, 4, "the error code needs 4 bytes"},
        {{2, 5}, 0, CaptureKind::Auto, 8, "the text length needs 4 bytes"},
        {{2, 5, 0xffffffffU}, 2, CaptureKind::Auto, 8, "the text of 4294967295 bytes passes"},
        {{2, 5, 2}, 3, CaptureKind::Auto, 14, "1 byte(s) behind the end"},
    };
    for (const auto& row : rows) {
        Bytes bytes;
        for (const std::uint32_t word : row.words) {
            AddWord(bytes, word);
        }
        bytes.resize(bytes.size() + row.tail);
        const WireCapture capture = DecodeCapture(bytes, row.kind);
        ASSERT_FALSE(capture.problems.empty()) << row.text;
        EXPECT_EQ(capture.problems[0].offset, row.offset) << row.text;
        EXPECT_THAT(capture.problems[0].text, HasSubstr(row.text));
    }
}

TEST(WireDecoder, nesting_and_number_of_fields_are_limited) {
    Bytes nested;
    constexpr std::uint32_t kLevels = 5000;
    for (std::uint32_t i = 0; i < kLevels; ++i) {
        AddWord(nested, RPC_MSG_MAIN);
        AddWord(nested, 100);
        AddWord(nested, 12 * (kLevels - 1 - i));
    }
    const WireCapture deep = DecodeCapture(nested, CaptureKind::Message);
    ASSERT_EQ(deep.problems.size(), 1U);
    EXPECT_THAT(deep.problems[0].text, HasSubstr("nested more than 32 deep"));

    Bytes many;
    constexpr std::uint32_t kRecords = WyCtl::kMaxWireFields + 10;
    AddWord(many, RPC_MSG_MAIN);
    AddWord(many, 100);
    AddWord(many, 12 * kRecords);
    for (std::uint32_t i = 0; i < kRecords; ++i) {
        AddWord(many, RPC_MSG_MAIN);
        AddWord(many, 100);
        AddWord(many, 0);
    }
    const WireCapture wide = DecodeCapture(many, CaptureKind::Message);
    ASSERT_EQ(wide.problems.size(), 1U);
    EXPECT_THAT(wide.problems[0].text, HasSubstr("more than 100000 fields"));
    EXPECT_EQ(wide.fields.at(0).fields.size(), WyCtl::kMaxWireFields);
}

TEST(WireDecoder, truncation_at_every_byte_is_safe_and_seen) {
    for (const Bytes& whole : {MailRequest(), SuccessReply(0), FailureReply()}) {
        for (std::size_t size = 0; size < whole.size(); ++size) {
            // A copy of its own size, so that a read beyond it is a fault.
            const Bytes cut(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size));
            EXPECT_FALSE(DecodeCapture(cut, CaptureKind::Auto).problems.empty()) << size;
        }
    }
}

TEST(WireDecoder, any_bytes_are_safe) {
    std::mt19937 random(20240117);
    const Bytes whole = MailRequest();
    for (int round = 0; round < 5000; ++round) {
        Bytes bytes = whole;
        for (unsigned i = random() % 8 + 1; i > 0; --i) {
            bytes[random() % bytes.size()] = static_cast<std::uint8_t>(random());
        }
        for (const CaptureKind kind :
             {CaptureKind::Auto, CaptureKind::Request, CaptureKind::Reply, CaptureKind::Message}) {
            const WireCapture capture = DecodeCapture(bytes, kind);
            EXPECT_NE(capture.kind, CaptureKind::Auto);
        }
    }
}

class DecodeCommand : public ::testing::Test {
protected:
    int Run(const Bytes& bytes, std::vector<std::string> options = {}) {
        std::ofstream file(m_strPath, std::ios::binary);
        for (const std::uint8_t byte : bytes) {
            file.put(static_cast<char>(byte));
        }
        file.close();
        options.insert(options.begin(), {"decode", m_strPath});
        m_Terminal.out.clear();
        return WyCtl::RunProgram(options, m_Terminal, FakeSdk::Reset());
    }
    void TearDown() override { std::remove(m_strPath.c_str()); }

    std::string m_strPath = ::testing::TempDir() + "wyctl-capture.bin";
    FakeTerminal m_Terminal;
};

TEST_F(DecodeCommand, text_shows_offset_name_type_and_value) {
    EXPECT_EQ(Run(FailureReply()), 0);
    EXPECT_EQ(m_Terminal.out,
              "reply, 22 bytes\n"
              "000000  marker  uint32  2  (failure)\n"
              "000004  error code  uint32  2051  (the caller gets 0xe0010803 the service does not "
              "know this client)\n"
              "000008  text length  uint32  10\n"
              "00000c  text  wide string  \"who?\"\n");
    EXPECT_EQ(Run(SuccessReply(0x20ff0000)), 0);
    EXPECT_THAT(m_Terminal.out, HasSubstr("000008  RPC_MSG_MAIN (0x1000b)  message  28 bytes, 1 "
                                          "field(s)\n"
                                          "000014    ID_DATA_RESULT_CODE (0x20708)  int32  "
                                          "553582592  (0x20ff0000 success)\n"));
}

TEST_F(DecodeCommand, malformed_part_is_said_and_fails) {
    Bytes bytes = FailureReply();
    bytes.push_back(7);
    EXPECT_EQ(Run(bytes), 1);
    EXPECT_THAT(m_Terminal.out, HasSubstr("malformed at 000016: 1 byte(s) behind the end\n"));
    EXPECT_THAT(m_Terminal.err, HasSubstr("1 malformed part(s)"));
    EXPECT_EQ(Run(bytes, {"--json"}), 1);
    const auto answer = WyCtl::ParseJson(m_Terminal.out);
    ASSERT_TRUE(answer.has_value());
    EXPECT_EQ((*answer)["ok"], Json::Value(false));
    EXPECT_EQ((*answer)["problems"][0]["offset"].asUInt(), 22U);
    EXPECT_EQ((*answer)["fields"][3]["value"].asString(), "who?");
}

TEST_F(DecodeCommand, json_keeps_the_nesting) {
    EXPECT_EQ(Run(MailRequest(), {"--json"}), 0);
    const auto answer = WyCtl::ParseJson(m_Terminal.out);
    ASSERT_TRUE(answer.has_value());
    EXPECT_EQ((*answer)["ok"], Json::Value(true));
    EXPECT_EQ((*answer)["kind"], Json::Value("request"));
    const Json::Value& command = (*answer)["fields"][2]["fields"][2];
    EXPECT_EQ(command["fields"][2]["fields"][3]["meaning"], Json::Value("WyScan"));
}

TEST_F(DecodeCommand, long_text_is_cut_unless_wanted_whole) {
    CIPCMsgBuffer envelope(CIPCMsgBuffer::kBlockSize, false);
    envelope << IPC_REPLY_FAILURE << 1U << std::wstring(500, L'x');
    EXPECT_EQ(Run(BytesOf(envelope)), 0);
    EXPECT_THAT(m_Terminal.out, HasSubstr("xxx...\""));
    EXPECT_EQ(Run(BytesOf(envelope), {"--full"}), 0);
    EXPECT_THAT(m_Terminal.out, HasSubstr(std::string(500, 'x')));
}

TEST_F(DecodeCommand, kind_can_be_forced) {
    EXPECT_EQ(Run(MailRequest(), {"--as", "reply"}), 0);
    EXPECT_THAT(m_Terminal.out, HasSubstr("(success)"));
}

TEST_F(DecodeCommand, missing_file_is_a_failure) {
    EXPECT_EQ(WyCtl::RunProgram({"decode", "no-such-file"}, m_Terminal, FakeSdk::Reset()), 1);
    EXPECT_THAT(m_Terminal.err, HasSubstr("cannot open no-such-file"));
}

}  // namespace
