// All sixteen files, full and wrapped, of records of 100 bytes; one of them holds a rare word.
#pragma once

namespace vesk::bench {

inline constexpr char rare_word[] = "xyzzy";

// Makes them where there are none yet, and puts them in place.
void bring_full_files();

}  // namespace vesk::bench
