// One operation of the daemon, on files that are given, and what is expected of it.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "tests/faults/scene.h"
#include "tests/faults/table.h"

namespace vesk::test {

struct workload {
  std::string name;
  uint32_t file_type;                    // that the record behind it goes to
  std::map<uint32_t, image> files = {};  // by file type
  std::function<void(scene &)> prepare = {};
  std::function<int32_t(scene &)> operate;
  call_table expected;  // when nothing fails, and for each failure
  ending ends = {};     // when nothing fails
};

std::vector<workload> all_workloads();

std::vector<workload> record_workloads();
std::vector<workload> update_workloads();
std::vector<workload> damaged_workloads();
std::vector<workload> validation_workloads();
std::vector<workload> migration_workloads();
std::vector<workload> wrapped_sweep_workloads();
std::vector<workload> damage_sweep_workloads();
std::vector<workload> other_workloads();

}  // namespace vesk::test
