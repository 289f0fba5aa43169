#include "system_calls.h"

#include <cerrno>
#include <sys/syscall.h>
#include <unistd.h>

Writes g_enWrites = Writes::AsAsked;
bool g_bReadFails = false;

extern "C" ssize_t write(int nFile, const void *pBytes, size_t nSize) {
    static bool bInterrupted = false;
    if (g_enWrites == Writes::AsAsked)
        return syscall(SYS_write, nFile, pBytes, nSize);
    bInterrupted = !bInterrupted;
    if (bInterrupted)
        errno = EINTR;
    return bInterrupted ? -1 : g_enWrites == Writes::Nothing ? 0 : syscall(SYS_write, nFile, pBytes, 1);
}

extern "C" ssize_t read(int nFile, void *pBytes, size_t nSize) {
    const ssize_t nRead = syscall(SYS_read, nFile, pBytes, nSize);
    if (nRead != 0 || !g_bReadFails)
        return nRead;
    errno = EIO;
    return -1;
}
