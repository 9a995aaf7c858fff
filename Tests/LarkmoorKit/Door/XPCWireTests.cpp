#include "LarkmoorKit/Door/XPCWire.h"

#include <gtest/gtest.h>

#include "LarkmoorKit/Door/MCPGatewayName.h"
#include "LarkmoorKit/Door/XPCEndpoint.h"
#include "LarkmoorWire/Store/StoreKeyWire.h"

namespace larkmoor {
namespace {

TEST(XPCWire, WhatIsMissingEmptyOrOfAnotherTypeIsNothing) {
    MessageDictionary message;
    EXPECT_FALSE(XPCWire::data(XPCEndpoint::payloadKey, message));
    XPCWire::set({}, XPCEndpoint::payloadKey, message);
    EXPECT_NE(message.find<Bytes>("payload"), nullptr);
    EXPECT_FALSE(XPCWire::data(XPCEndpoint::payloadKey, message));
    message.set(XPCEndpoint::payloadKey, true);
    message.set(XPCEndpoint::wireKey, copyBytes("1"));
    message.set(XPCEndpoint::servedKey, false);
    EXPECT_FALSE(XPCWire::data(XPCEndpoint::payloadKey, message));
    EXPECT_FALSE(XPCWire::wireVersion(message));
    EXPECT_FALSE(XPCWire::servedDuration(message));
    XPCWire::set(asBytes("{}"), XPCEndpoint::payloadKey, message);
    EXPECT_EQ(asText(*XPCWire::data(XPCEndpoint::payloadKey, message)), "{}");
}

TEST(XPCWire, CountsAreUnsigned) {
    struct Case {
        std::int64_t set;
        std::uint64_t stored;
    };
    for (const Case& row : {Case{1, 1}, Case{0, 0}, Case{-1, 0}, Case{INT64_MIN, 0}, Case{INT64_MAX, INT64_MAX}}) {
        MessageDictionary message;
        XPCWire::setWire(row.set, message);
        XPCWire::setServed(row.set, message);
        EXPECT_EQ(*message.find<std::uint64_t>("wire"), row.stored);
        EXPECT_EQ(*message.find<std::uint64_t>("served_ms"), row.stored);
        EXPECT_EQ(XPCWire::wireVersion(message), static_cast<std::int64_t>(row.stored));
        EXPECT_EQ(XPCWire::servedDuration(message), std::chrono::milliseconds{row.stored});
    }
    MessageDictionary strange;
    strange.set(XPCEndpoint::wireKey, UINT64_MAX);
    EXPECT_EQ(XPCWire::wireVersion(strange), INT64_MAX);
}

TEST(XPCEndpoint, KeysAreTheFamilys) {
    EXPECT_EQ(XPCEndpoint::machServiceName, "tools.fenwright.larkmoor.gateway");
    EXPECT_EQ(XPCEndpoint::subscribeKey, "subscribe");
    EXPECT_EQ(XPCEndpoint::eventKey, "event");
    EXPECT_EQ(StoreKeyWire::descriptorsKey, "store_key_fds");
}

TEST(MCPGatewayName, BelievesOnlyATestService) {
    struct Case {
        std::map<std::string, std::string> env;
        std::string_view service;
    };
    constexpr std::string_view production = "tools.fenwright.larkmoor.gateway";
    const auto named = [](std::string value) {
        return std::map<std::string, std::string>{{"LARKMOOR_MCP_GATEWAY_FOR_TESTS", std::move(value)}};
    };
    const Case table[] = {
        {{}, production},
        {{{"OTHER", "tools.fenwright.larkmoor.test.a"}}, production},
        {named(""), production},
        {named("tools.fenwright.larkmoor.test."), production},
        {named("tools.fenwright.larkmoor.gateway2"), production},
        {named("x tools.fenwright.larkmoor.test.a"), production},
        {named("  tools.fenwright.larkmoor.test.a\n"), "tools.fenwright.larkmoor.test.a"},
    };
    for (const Case& row : table) EXPECT_EQ(MCPGatewayName::resolve(row.env), row.service);
}

}  // namespace
}  // namespace larkmoor
