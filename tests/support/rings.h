// Log files as the daemon itself makes them: by one record after another, and by work that was cut
// off when the power went.
#pragma once

#include <cstdint>

#include "tests/support/dice.h"
#include "tests/support/ram_flash.h"
#include "tests/support/record.h"

namespace vesk::test {

// Any record that fits into the type's file, and now and then one that does not.
record_fields random_record(uint32_t file_type, dice &dice);

// A ring of records: hardly begun, nearly full, just wrapped, or wrapped many times. It takes long
// to make one, so there are as many as `shape` has values, and each is made once.
const image &grown_ring(uint32_t file_type, uint32_t shape);

// The file after one more record, of whose writes only so many bytes got there.
image torn_append(uint32_t file_type, const image &file, dice &dice);

// The file after a sweep with the mark, of whose writes only so many bytes got there; empty when it
// was removed.
image torn_sweep(uint32_t file_type, const image &file, uint32_t mark, dice &dice);

}  // namespace vesk::test
