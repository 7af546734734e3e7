#include "daemon/vesk_config.h"

#include "store/vesk_state.h"
#include "tests/unit/daemon/daemon_test.h"

namespace vesk::test {

struct Config : daemon_test {
  vesk_module_config config{};

  void SetUp() override {
    daemon_test::SetUp();
    vesk_module_id = 6;
    vesk_file_state.fill(VESK_LOGGING_ENABLED);
    config.vesk_enable = 1;
    for (uint8_t &enabled : config.vesk_log_enable) enabled = 1;
  }

  static void expect_states(uint8_t state, uint32_t but_type = 64, uint8_t but_state = 0) {
    for (uint32_t t = 0; t < 64; ++t) {
      EXPECT_EQ(vesk_file_state.slots[t], t == but_type ? but_state : state) << "type " << t;
    }
  }

  // What is said about one file type, by what the module's byte and the type's own byte say.
  static log_lines told(int type, int old_state, int type_byte, int new_state) {
    const std::string t = std::to_string(type);
    return {
        trace("TRACE:module 6 vesk_file_state[" + t + "] = " + std::to_string(old_state) + " \n"),
        trace("TRACE:vesk_config_data[6].vesk_log_enable[" + t +
              "] = " + std::to_string(type_byte) + "\n"),
        trace("TRACE:module 6 vesk_file_state[" + t + "] = " + std::to_string(new_state) + "\n")};
  }
};

TEST_F(Config, enables_every_type) {
  vesk_file_state.fill(VESK_LOGGING_DISABLED);
  EXPECT_EQ(apply_config(config), 0);
  expect_states(1);
  log_lines expected = {trace("TRACE:vesk_config_data.vesk_enable = 1\n")};
  for (int t = 0; t < 64; ++t) expected = expected + told(t, 2, 1, 1);
  EXPECT_EQ(platform.history, expected);
  EXPECT_EQ(platform.calls, lines());
}

TEST_F(Config, a_disabled_module_disables_every_type_whatever_the_types_say) {
  for (const uint8_t byte : each<uint8_t>{0, 2, 255}) {
    platform.forget();
    vesk_file_state.fill(VESK_LOGGING_ENABLED);
    config.vesk_enable = byte;
    EXPECT_EQ(apply_config(config), 0);
    expect_states(2);
    log_lines expected = {
        trace("TRACE:vesk_config_data.vesk_enable = " + std::to_string(byte) + "\n")};
    for (int t = 0; t < 64; ++t) {
      const log_lines one = told(t, 1, 1, 2);
      expected = expected + log_lines{one[0], one[2]};
    }
    EXPECT_EQ(platform.history, expected);
  }
}

TEST_F(Config, any_byte_but_1_disables_its_type_alone) {
  for (const uint8_t byte : each<uint8_t>{0, 2, 255}) {
    vesk_file_state.fill(VESK_LOGGING_ENABLED);
    config.vesk_log_enable[5] = byte;
    EXPECT_EQ(apply_config(config), 0);
    expect_states(1, 5, 2);
  }
}

TEST_F(Config, tells_each_type_with_its_own_byte) {
  config.vesk_log_enable[0] = 0;
  config.vesk_log_enable[63] = 200;
  vesk_file_state[63] = 7;
  apply_config(config);
  const log_lines first(platform.history.begin() + 1, platform.history.begin() + 4);
  const log_lines last(platform.history.end() - 3, platform.history.end());
  EXPECT_EQ(first, told(0, 1, 0, 2));
  EXPECT_EQ(last, told(63, 7, 200, 2));
}

TEST_F(Config, a_failed_flash_refuses_to_enable_and_leaves_the_state) {
  bootflash_failure_flag = 1;
  for (uint8_t &enabled : config.vesk_log_enable) enabled = 0;
  config.vesk_log_enable[5] = 1;
  EXPECT_EQ(apply_config(config), -1);
  expect_states(2, 5, 1);

  log_lines expected = {trace("TRACE:vesk_config_data.vesk_enable = 1\n")};
  for (int t = 0; t < 64; ++t) {
    log_lines one = t == 5 ? told(t, 1, 1, 1) : told(t, 1, 0, 2);
    if (t == 5) {
      one.insert(one.begin() + 2, error("ERROR: Can't enable logging for file type 5 due to "
                                        "bootflash failure.\n"));
    }
    expected = expected + one;
  }
  EXPECT_EQ(platform.history, expected);
}

TEST_F(Config, a_failed_flash_does_not_enable_what_was_disabled) {
  bootflash_failure_flag = 1;
  vesk_file_state.fill(VESK_LOGGING_DISABLED);
  EXPECT_EQ(apply_config(config), -1);
  expect_states(2);
  EXPECT_EQ(platform.history.size(), 1u + 4 * 64);
}

TEST_F(Config, a_failed_flash_does_not_refuse_to_disable) {
  bootflash_failure_flag = 1;
  config.vesk_enable = 0;
  EXPECT_EQ(apply_config(config), 0);
  expect_states(2);
}

}  // namespace vesk::test
