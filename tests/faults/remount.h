// What a remount of the flash does: it looks for the marker of a mounted flash, and while that is
// there takes it away, unmounts, and starts the mount program.
#pragma once

#include <string>
#include <vector>

namespace vesk::test {

inline const std::vector<std::string> remount = {"stat /kyte_mounted", "run rm /kyte_mounted",
                                                 "run umount /mnt/vesk/",
                                                 "start /vamo/bin/kytemount"};

}  // namespace vesk::test
