// The system calls behind those that the linker leads to the tests first.
#pragma once

#include <sys/stat.h>
#include <sys/time.h>
#include <sys/types.h>

extern "C" {

int __real_open(const char *path, int flags, ...);
int __real_stat(const char *path, struct stat *st);
off_t __real_lseek(int fd, off_t offset, int whence);
ssize_t __real_read(int fd, void *buf, size_t count);
ssize_t __real_write(int fd, const void *buf, size_t count);
int __real_close(int fd);
int __real_gettimeofday(timeval *tv, void *zone);

}  // extern "C"
