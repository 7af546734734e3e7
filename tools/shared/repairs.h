// Predictions for files that lie beside each other: where the repairs of a start-up end.
#pragma once

#include <cstdint>
#include <map>
#include <string>

#include "forecast/vesk_forecast.h"
#include "tools/shared/files.h"

namespace vesk::shared {

// Start-up repairs the files of its directory in the order of their types, and no more of them once
// it comes to a kernel log that it will not repair. That file counts wherever it lies beside one of
// those that are shown, whether or not it is shown itself.
class repairs_end {
 public:
  // Predicts the fate of the file, whose bytes these are, as forecast(). Fails where that fails,
  // and where it does for the kernel log on which it depends.
  failure predict(const log_file &file, ring_bytes image, file_forecast &ret_predicted);

 private:
  std::map<std::string, uint32_t> known_;  // for each directory: the type at which they end
};

}  // namespace vesk::shared
