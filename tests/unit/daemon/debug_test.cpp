#include "daemon/vesk_debug.h"

#include "platform/dbgkit.h"
#include "tests/unit/daemon/daemon_test.h"

namespace vesk::test {

namespace {

const std::string dbg_init =
    "dbgkit_dbg_init(7, \"vesk_sup\", \"Sup Persitent Logging Daemon\", 2, {\"trace\", \"error\"}, "
    "0, 0, 0)";
const std::string sys_init =
    "dbgkit_sys_init_helper(7, \"vesk_sup\", \"Sup Persitent Logging Daemon\", 1680, 0, 0, 0)";

}  // namespace

struct Debug : daemon_test {};

TEST_F(Debug, registers_and_sets_up_the_event_history) {
  EXPECT_EQ(vesk_sup_debug_init(), 0);
  EXPECT_EQ(platform.journal, lines({dbg_init, sys_init, "dbgkit_hist_init(16384)",
                                     "dbgkit_hist_init_for_uuid(115, 16384)",
                                     "dbgkit_hist_set_event_subtype(0x00730000, 101, 1)"}));
  EXPECT_EQ(dbgkit_sys_facility, &syslog_fac_LOG_VESK);
}

TEST_F(Debug, a_failed_registration_ends_it) {
  for (const int32_t result : {-1, 1}) {
    platform.forget();
    platform.next("dbgkit_dbg_init", result);
    EXPECT_EQ(vesk_sup_debug_init(), -1);
    EXPECT_EQ(platform.journal, lines({dbg_init}));
    EXPECT_EQ(dbgkit_sys_facility, nullptr);
  }
}

TEST_F(Debug, the_facility_is_known_before_syslog_is_set_up) {
  const void *during = nullptr;
  platform.on_call = [&](const std::string &call) {
    if (call == sys_init) during = dbgkit_sys_facility;
  };
  vesk_sup_debug_init();
  EXPECT_EQ(during, &syslog_fac_LOG_VESK);
}

TEST_F(Debug, a_failed_syslog_setup_ends_it) {
  for (const int32_t result : {-1, 1}) {
    platform.forget();
    platform.next("dbgkit_sys_init_helper", result);
    EXPECT_EQ(vesk_sup_debug_init(), -1);
    EXPECT_EQ(platform.journal, lines({dbg_init, sys_init}));
  }
}

TEST_F(Debug, results_of_the_history_are_ignored) {
  platform.next("dbgkit_hist_init", -1);
  platform.next("dbgkit_hist_init_for_uuid", -1);
  platform.next("dbgkit_hist_set_event_subtype", -1);
  EXPECT_EQ(vesk_sup_debug_init(), 0);
  EXPECT_EQ(platform.calls.size(), 5u);
}

TEST_F(Debug, exports_its_syslog_records) {
  EXPECT_STREQ(syslog_fac_LOG_VESK.name, "vesk_sup");
  EXPECT_EQ(syslog_fac_LOG_VESK.facility, 1680u);
  EXPECT_EQ(syslog_fac_LOG_VESK.identity, 1028u);
  EXPECT_STREQ(syslog_msg_VESK_SUP_EXIT.name, "VESK_SUP_EXIT");
  EXPECT_EQ(syslog_msg_VESK_SUP_EXIT.facility, &syslog_fac_LOG_VESK);
  EXPECT_STREQ(syslog_msg_VESK_SUP_EXIT.format,
               "<<%%%s-%d-VESK_SUP_EXIT>> Persistent Logger encountered an error %d.");
  EXPECT_EQ(syslog_msg_VESK_SUP_EXIT.severity, 4u);
}

}  // namespace vesk::test
