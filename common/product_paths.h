// Fixed places of the product on disk. They are compiled in: modules and data files of other makers are
// looked for nowhere else.
#pragma once

#define PRODUCT_DIR "/usr/lib/Morvane/Morvane/"

constexpr char SERVICE_CONFIG_FILE[] = PRODUCT_DIR "websec.cfg";
constexpr char INET_OPTIONS_FILE[] = PRODUCT_DIR "kvinet.opt";
constexpr char EXCLUSION_PATTERN_FILE[] = PRODUCT_DIR "pcintwl.dat";
constexpr char TRUSTED_PATTERN_FILE[] = PRODUCT_DIR "bpintwl.dat";
constexpr char EXCLUDED_RANGE_FILE[] = PRODUCT_DIR "wsintip.dat";
constexpr char EXTRA_PORT_FILE[] = PRODUCT_DIR "wswebflt.dat";
constexpr char CATEGORY_STATUS_FILE[] = PRODUCT_DIR "wscatsts.dat";
constexpr char REPORT_MODULE_FILE[] = PRODUCT_DIR "libdbmod.so";
constexpr char URL_SCANNER_FILE[] = PRODUCT_DIR "urlcheck.so";
constexpr char TRANSLATION_DIR[] = PRODUCT_DIR "translation";
