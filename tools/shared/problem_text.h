// What is predicted of a log file, in words for a person.
#pragma once

#include <string>

#include "forecast/vesk_forecast.h"

namespace vesk::shared {

// What start-up holds against the file: "end 9000 lies beyond the capacity of 8192". Empty where it
// holds nothing.
std::string objection_text(const file_forecast &predicted);

// Why its repair fails: "there is no entry in the file". Empty where none does.
std::string repair_failure_text(const file_forecast &predicted);

}  // namespace vesk::shared
