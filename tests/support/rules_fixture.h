// For tests of firewall rules: an iptables of a known path, chain and table, and commands that are recorded.
#pragma once

#include "common/copy_text.h"
#include "gtest/gtest.h"
#include "service/service_config.h"
#include "tests/support/recording_popen.h"

class RulesTest : public testing::Test {
  protected:
    void SetUp() override {
        g_ServiceConfig = {};
        CopyText(g_ServiceConfig.szIptablesPath, "/sbin/iptables");
        CopyText(g_ServiceConfig.szIptableChain, "POSTROUTING");
        CopyText(g_ServiceConfig.szIptableTable, "mangle");
    }
    void TearDown() override {
        recording_popen::AnswerWith({});
        g_ServiceConfig = {};
    }
};
