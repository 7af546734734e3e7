// All sixteen files, full and wrapped, of records of 100 bytes; one of them holds a rare word.
#pragma once

namespace vesk::bench {

inline constexpr char rare_word[] = "xyzzy";

// The name that they are kept under (bench/stage.h).
inline constexpr char full_files[] = "full";

// Makes them where there are none yet.
void make_full_files();

}  // namespace vesk::bench
