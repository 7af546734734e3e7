#include "tests/soak/parts.h"

namespace vesk::soak {
namespace {

// The smallest file is left out: a record may cost it all of its entries, and no kill is needed.
const std::vector<volume> roomy = {{1, "exception.log", 0x80000, 600, 2},
                                   {5, "vesk.log", 0x100000, 600, 4},
                                   {25, "platform.log", 0x100000, 400, 4},
                                   {21, "kernel.log", 0x800000, 2000, 16},
                                   {22, "kernel_big.log", 0x800000, 4000, 8}};

const std::vector<volume> full = {
    {3, "kyte.log", 0x20000, 1500, 2},    {6, "temperature_history.log", 0x20000, 600, 2},
    {2, "nruda.log", 0x40000, 2000, 3},   {29, "ferro_tovik.log", 0x40000, 8000, 3},
    {35, "bcm_usd.log", 0x40000, 300, 3}, {1, "exception.log", 0x80000, 8000, 3},
    {5, "vesk.log", 0x100000, 3000, 3}};

}  // namespace

std::vector<part> parts_of(extent chosen) {
  if (chosen == extent::quick) {
    return {{.name = "roomy",
             .volumes = roomy,
             .wraps = false,
             .senders = 4,
             .records = 800,
             .kills = 5},
            {.name = "full",
             .volumes = full,
             .wraps = true,
             .senders = 4,
             .records = 2500,
             .kills = 8}};
  }
  std::vector<part> parts;
  for (const char *name : {"roomy 1", "roomy 2", "roomy 3", "roomy 4"}) {
    parts.push_back({.name = name,
                     .volumes = roomy,
                     .wraps = false,
                     .senders = 6,
                     .records = 10000,
                     .kills = 40});
  }
  parts.push_back({.name = "full",
                   .volumes = full,
                   .wraps = true,
                   .senders = 6,
                   .records = 50000,
                   .kills = 400});
  return parts;
}

}  // namespace vesk::soak
