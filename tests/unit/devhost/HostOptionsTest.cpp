#include "devhost/HostOptions.h"

#include <gtest/gtest.h>

namespace {

using DevHost::HostOptions;
using DevHost::ParseHostOptions;

TEST(HostOptions, defaults_allow_nothing) {
    int status = -1;
    std::string text;
    const auto options = ParseHostOptions({}, status, text);
    ASSERT_TRUE(options.has_value());
    EXPECT_EQ(options->mode, 0);
    EXPECT_FALSE(options->allowRemove);
    EXPECT_FALSE(options->allowKill);
    EXPECT_FALSE(options->service);
    EXPECT_TRUE(options->root.empty() && options->fault.empty() && options->logFile.empty());
    EXPECT_TRUE(options->faultsFile.empty() && options->emissions.empty());
    EXPECT_EQ(options->absenceMs, 0U);
    EXPECT_FALSE(options->runSeconds.has_value() || options->parentId.has_value() ||
                 options->successorOf.has_value());
}

TEST(HostOptions, every_option_is_read) {
    int status = -1;
    std::string text;
    const auto options = ParseHostOptions(
        {"--mode",       "1",          "--root",        "C:\\a b", "--allow-remove", "--allow-kill",
         "--fault",      "any fail 1", "--faults",      "f.json",  "--ready-event",  "r",
         "--stop-event", "s",          "--run-seconds", "5",       "--log",          "l.txt",
         "--parent",     "12",         "--service"},
        status, text);
    ASSERT_TRUE(options.has_value()) << text;
    EXPECT_EQ(options->mode, 1);
    EXPECT_EQ(options->root, "C:\\a b");
    EXPECT_TRUE(options->allowRemove && options->allowKill);
    EXPECT_EQ(options->fault, "any fail 1");
    EXPECT_EQ(options->faultsFile, "f.json");
    EXPECT_EQ(options->readyEvent, "r");
    EXPECT_EQ(options->stopEvent, "s");
    EXPECT_EQ(options->runSeconds, 5U);
    EXPECT_EQ(options->logFile, "l.txt");
    EXPECT_EQ(options->parentId, 12U);
    EXPECT_TRUE(options->service);
}

TEST(HostOptions, events_by_the_clock_may_be_several) {
    int status = -1;
    std::string text;
    const auto options = ParseHostOptions(
        {"--emit", "7:250", "--allow-kill", "--emit", "0x8001:1000", "--emit", "7:10"}, status,
        text);
    ASSERT_TRUE(options.has_value()) << text;
    ASSERT_EQ(options->emissions.size(), 3U);
    EXPECT_EQ(options->emissions[0].eventId, 7U);
    EXPECT_EQ(options->emissions[0].intervalMs, 250U);
    EXPECT_EQ(options->emissions[1].eventId, 32769U);
    EXPECT_EQ(options->emissions[1].intervalMs, 1000U);
    EXPECT_EQ(options->emissions[2].intervalMs, 10U);
}

TEST(HostOptions, wrong_emission_is_told) {
    for (const char* wrong : {"", "7", "7:0", "x:5", "7:86400001", "7:5:5"}) {
        int status = -1;
        std::string text;
        EXPECT_FALSE(ParseHostOptions({"--emit", "1:1", "--emit", wrong}, status, text)) << wrong;
        EXPECT_EQ(status, DevHost::ExitStatus::kBadUsage);
        EXPECT_NE(text.find("--emit: \"" + std::string(wrong) + "\" is not ID:MS"),
                  std::string::npos)
            << text;
    }
}

TEST(HostOptions, help_is_no_failure_and_says_what_the_program_is) {
    int status = -1;
    std::string text;
    EXPECT_FALSE(ParseHostOptions({"--help"}, status, text).has_value());
    EXPECT_EQ(status, DevHost::ExitStatus::kClean);
    EXPECT_NE(text.find("not the product's service"), std::string::npos);
    EXPECT_NE(text.find("--allow-remove"), std::string::npos);
    EXPECT_NE(text.find("--faults"), std::string::npos);
    EXPECT_NE(text.find("--emit ID:MS"), std::string::npos);
    EXPECT_EQ(text.find("--successor-of"), std::string::npos);
    EXPECT_EQ(text.find("--absence"), std::string::npos);
}

TEST(HostOptions, bad_usage_is_told) {
    const std::vector<std::vector<std::string>> bad = {
        {"--mode", "2"},
        {"--mode", "x"},
        {"--unknown"},
        {"stray"},
        {"--root"},
        {"--run-seconds", "-1"},
        {"--parent", "me"},
        {"--allow-remove"},
        {"--faults"},
        {"--emit"},
        {"--absence", "x"},
        {"--absence", "-1"},
        {"--mode", "0", "--mode", "1", "--mode"},
    };
    for (const auto& arguments : bad) {
        int status = -1;
        std::string text;
        EXPECT_FALSE(ParseHostOptions(arguments, status, text).has_value()) << arguments[0];
        EXPECT_EQ(status, DevHost::ExitStatus::kBadUsage);
        EXPECT_FALSE(text.empty());
    }
}

TEST(HostOptions, successor_gets_the_same_options_with_the_faults_that_are_left) {
    int status = -1;
    std::string text;
    const auto options = ParseHostOptions(
        {"--mode",        "1",         "--root",        "r",     "--allow-remove", "--allow-kill",
         "--fault",       "any crash", "--ready-event", "e",     "--stop-event",   "s",
         "--run-seconds", "9",         "--log",         "l",     "--parent",       "3",
         "--faults",      "f.json",    "--emit",        "7:250", "--emit",         "0x8001:5"},
        status, text);
    ASSERT_TRUE(options.has_value());
    const auto again = ParseHostOptions(
        DevHost::SuccessorArguments(*options, 77, "any x2 fail 5", 0), status, text);
    ASSERT_TRUE(again.has_value()) << text;
    EXPECT_EQ(again->mode, 1);
    EXPECT_EQ(again->root, "r");
    EXPECT_TRUE(again->allowRemove && again->allowKill);
    EXPECT_EQ(again->fault, "any x2 fail 5");
    EXPECT_EQ(again->readyEvent, "e");
    EXPECT_EQ(again->stopEvent, "s");
    EXPECT_EQ(again->runSeconds, 9U);
    EXPECT_EQ(again->logFile, "l");
    EXPECT_EQ(again->parentId, 3U);
    EXPECT_EQ(again->successorOf, 77U);
    EXPECT_EQ(again->absenceMs, 0U);
    // What was left of the file's faults is in the script.
    EXPECT_TRUE(again->faultsFile.empty());
    ASSERT_EQ(again->emissions.size(), 2U);
    EXPECT_EQ(again->emissions[0].eventId, 7U);
    EXPECT_EQ(again->emissions[0].intervalMs, 250U);
    EXPECT_EQ(again->emissions[1].eventId, 0x8001U);
    EXPECT_EQ(again->emissions[1].intervalMs, 5U);
}

TEST(HostOptions, successor_without_faults_has_none) {
    HostOptions options;
    options.fault = "any crash";
    int status = -1;
    std::string text;
    const auto again =
        ParseHostOptions(DevHost::SuccessorArguments(options, 1, "", 0), status, text);
    ASSERT_TRUE(again.has_value());
    EXPECT_TRUE(again->fault.empty());
}

TEST(HostOptions, time_of_absence_is_the_successors_own) {
    HostOptions options;
    options.absenceMs = 900;  // the host is a successor itself
    int status = -1;
    std::string text;
    for (const std::uint32_t absence : {0U, 1U, 750U}) {
        const auto again =
            ParseHostOptions(DevHost::SuccessorArguments(options, 1, "", absence), status, text);
        ASSERT_TRUE(again.has_value()) << text;
        EXPECT_EQ(again->absenceMs, absence);
    }
}

}  // namespace
