// The whole road from the queue message to the verdict, between stand-ins (flow_recorder.h) that write down
// when they are asked.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "category/category_engine.h"
#include "category/category_table.h"
#include "inspect/queued_packet.h"
#include "intercept/queue_attributes.h"
#include "service/service_config.h"
#include "tests/support/policy_fixture.h"
#include "tests/unit/inspect/flow_recorder.h"

constexpr uint32_t PACKET_ID = 77;

// Where the site a.example/p stands.
enum : unsigned {
    EXCL = 1,
    SITE = 2,
    PATTERN = 4,
    B_HOST = 8,
    B_URL = 16,
    A_HOST = 32,
    A_URL = 64,
    ALLOWED = A_HOST | A_URL,
    NO_CATS = 128,  // no category is blocked; else 2, 3 and 50 are
};

inline char s_Pattern[1][PATTERN_BYTES] = {"a.example/"};
inline uint8_t s_Mapping[WEBCAT_ENTRY_BYTES] = {50};  // the library has a name for category 50

class DecisionFlow : public PolicyTest {
  protected:
    void SetUp() override {
        g_Flow = {};
        g_Flow.nCategory = 17;
        BindRecorder();
        g_bReportBlocked = 1;
        g_WebCatMapping = {1, s_Mapping};
    }
    void TearDown() override {
        UnbindRecorder();
        g_WebCatMapping = {};
        g_bUseCatServer = CATENGINE_LIBRARY;
        g_bLiveTraffic = 0;
        g_ExclusionPatterns = g_TrustedURLPatterns = {};
        g_ExcludedRanges = {};
        PolicyTest::TearDown();
    }
    // The values of phishing protection, browsing protection, category filter and block list, as digits.
    static void SetSwitches(std::string_view digits) {
        g_bPhishingProtection = static_cast<uint8_t>(digits[0] - '0');
        g_bBrowsingProtection = static_cast<uint8_t>(digits[1] - '0');
        g_bWebCategoryFilter = static_cast<uint8_t>(digits[2] - '0');
        g_bCustomBlockList = static_cast<uint8_t>(digits[3] - '0');
    }
    static void SetPlaces(unsigned nPlaces) {
        const tagPatternTable pattern = {1, s_Pattern};
        if (nPlaces & EXCL) g_ExclusionPatterns = pattern;
        if (nPlaces & PATTERN) g_TrustedURLPatterns = pattern;
        if (nPlaces & SITE) FillList(g_pTrustedSiteList, {"a.example/p"});
        if (nPlaces & B_HOST) FillList(g_pBlockHostList, {"a.example"});
        if (nPlaces & B_URL) FillList(g_pBlockURLList, {"a.example/p"});
        if (nPlaces & A_HOST) FillList(g_pAllowHostList, {"a.example"});
        if (nPlaces & A_URL) FillList(g_pAllowURLList, {"a.example/p"});
        if (nPlaces & NO_CATS) return;
        for (const uint16_t nId : {2, 3, 50})
            g_nBlockedCategories[g_nBlockedCategoryCount++] = nId;
    }
    // As a worker does it.
    static tagPacketInfo Dispatch(std::span<const uint8_t> message) {
        tagPacketInfo info{};
        EXPECT_EQ(RunQueueMessages(message.data(), message.size(), 0, OnQueuePacket, &info), MNL_CB_STOP);
        return info;
    }
};

inline std::string Http(const char* szRequest, const char* szHost) {
    return std::string(szRequest) + " HTTP/1.1\r\nHost: " + szHost + "\r\n\r\n";
}
