// A lab in which the daemon runs with LiveTraffic 1 and blocks blocked.example.
#pragma once

#include "tests/e2e/daemon.h"
#include "tests/e2e/lab.h"

class LiveDaemonTest : public LabTest {
  protected:
    void SetUp() override {
        LabTest::SetUp();
        WriteFile(ProductFile("websec.cfg"), "[ServiceConfigurations]\nLiveTraffic=1\n");
        MustRun("websecctl block add blocked.example");
        daemon = StartDaemon();
    }
    tagDaemon daemon;
};
