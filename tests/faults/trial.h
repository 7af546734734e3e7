// A workload with one of its calls failing, held against its table; and what comes after it.
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "tests/faults/aftermath.h"
#include "tests/faults/workload.h"

namespace vesk::test {

// What the fault did to the workload.
enum class fault_effect : uint8_t {
  as_usual,  // in every call as when nothing fails
  another,   // success, by another way
  removed,   // a file is gone that is there in the end when nothing fails
  refused,   // a failure, and no file is lost
};

struct trial_result {
  fault_effect effect;
  bool remounted;
  bool refused_next;                // the record behind it
  std::vector<std::string> broken;  // expectations, in words; none when all is well
  transcript expected, found;
};

// A call at which a workload can be made to fail.
struct fault_point {
  size_t row;        // of the table
  std::string kind;  // of the call
  uint32_t number;   // among those of its kind
  size_t size;       // that a read or a write asks for
};

class trials {
 public:
  // The workload must outlive the object.
  explicit trials(const workload &workload);

  // What is wrong with the table itself: the workload without a fault does not agree with it.
  const std::vector<std::string> &broken() const { return broken_; }

  const std::vector<fault_point> &points() const { return points_; }

  trial_result run(const fault_point &point, const failure &failure, lasting lasts);

 private:
  // Does the work.
  transcript observe(scene &scene) const;
  void find_points(const std::vector<made_call> &calls);

  const workload &workload_;
  const transcript usual_;
  std::vector<fault_point> points_;
  std::vector<std::string> broken_;
  std::map<uint64_t, aftermath> known_;
};

}  // namespace vesk::test
