// What a person reads goes through a pager, where standard output is a terminal.
#pragma once

#include "tools/veskshow/options.h"

namespace vesk::veskshow {

// From now on standard output goes through the program that VESK_PAGER or PAGER names, else "less",
// and so does standard error where it is a terminal: what is said about a file stays behind its
// entries. The end of this program waits for the pager's, so that no two programs use the terminal;
// meanwhile the keyboard's signals are for the pager.
//
// Does nothing where the options say so, standard output is no terminal or a dumb one, what is
// shown is for programs, the variable is empty or "cat", or there is no "less".
void start_pager(const options &wanted);

}  // namespace vesk::veskshow
