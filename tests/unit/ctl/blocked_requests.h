// Blocked requests in the store that websecctl reads, put there as the report modules do.
#pragma once

#include "modules/store/report_intake.h"
#include "tests/unit/ctl/run_websecctl.h"
#include "tests/unit/modules/temp_store.h"

struct tagBlockedRequest {
    const char* szTime;  // "05-Mar-2024 14:07:09"
    const char* szUser;
    const char* szURL;
    uint32_t nResult;
    const char* szFoundBy = "";  // category or threat
    uint32_t nCategory = 0;
};

class ReportsTest : public WebsecctlTest {
  protected:
    ReportsTest() { EXPECT_EQ(OpenStore(&m_store, STORE_CREATE, 100), STORE_OK) << m_store.szError; }
    ~ReportsTest() override { CloseStore(&m_store); }

    void Block(const tagBlockedRequest& request) {
        if (request.nResult >= 7) {
            ReportRecordHarmful record = {};  // begins as that of phishing
            Fill(record.threat, request);
            WidenText(record.wszThreatName, request.szFoundBy);
            StoreOne(request.nResult == 8 ? REPORT_HARMFUL : REPORT_PHISHING, &record);
        } else {
            ReportRecordBlock record = {};
            Fill(record, request);
            record.nResult = request.nResult;
            record.nCategory = request.nCategory;
            WidenText(record.wszCategoryName, request.szFoundBy);
            StoreOne(REPORT_BLOCK, &record);
        }
    }
    void StoreOne(int nType, const void* pRecord) {
        ASSERT_EQ(StoreReport(&m_store, nType, pRecord, 0), STORE_OK) << m_store.szError;
    }

    tagStore m_store;

  private:
    template <class Record>
    static void Fill(Record& record, const tagBlockedRequest& request) {
        WidenText(record.wszTime, request.szTime);
        WidenText(record.wszUser, request.szUser);
        WidenText(record.wszURL, request.szURL);
    }
};
