/* Standard error as the channel of trace messages.
 *
 * A look at poll() before a write is no promise: several threads may be told of the same free place in a pipe, and a
 * terminal line takes less than it is given. So sockets are asked not to block with each message, and pipes and
 * terminals are opened anew without blocking: changing the mode of standard error itself would change it for every
 * process that shares it. Where opening is not permitted, poll() has to do. */
#include "trace_channel.h"

#include "sigpipe_guard.h"

#include <atomic>
#include <cerrno>
#include <charconv>
#include <fcntl.h>
#include <poll.h>
#include <stdlib.h>
#include <string_view>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

std::atomic<bool> bJournalKnown{false};
std::atomic<dev_t> nJournalDevice{0};
std::atomic<ino_t> nJournalInode{0};

bool CanTake(int nFileDescriptor) {
    pollfd tPoll{nFileDescriptor, POLLOUT, 0};
    return poll(&tPoll, 1, 0) == 1 && tPoll.revents == POLLOUT;
}

ssize_t WriteOnce(int nFileDescriptor, bool bSocket, const char *pBytes, size_t nSize) {
    return bSocket ? send(nFileDescriptor, pBytes, nSize, MSG_DONTWAIT | MSG_NOSIGNAL)
                   : write(nFileDescriptor, pBytes, nSize);
}

TAKEN WriteAtOnce(int nFileDescriptor, bool bSocket, const char *pBytes, size_t nSize) {
    size_t nDone = 0;
    while (nDone < nSize && CanTake(nFileDescriptor)) {
        const ssize_t nWritten = WriteOnce(nFileDescriptor, bSocket, pBytes + nDone, nSize - nDone);
        if (nWritten > 0)
            nDone += static_cast<size_t>(nWritten);
        else if (nWritten == 0 || errno != EINTR)
            break;
    }
    if (nDone == nSize)
        return TAKEN::WHOLE;
    return nDone > 0 ? TAKEN::PART : TAKEN::NOTHING;
}

/* A descriptor of standard error's pipe or terminal that does not block, or -1. */
int OpenWithoutBlocking() {
    return open("/proc/self/fd/2", O_WRONLY | O_APPEND | O_NONBLOCK | O_NOCTTY | O_CLOEXEC);
}

} // namespace

TAKEN TraceChannel_Write(const char *pBytes, size_t nSize) {
    struct stat tStatus {};
    if (fstat(STDERR_FILENO, &tStatus) != 0)
        return TAKEN::NOTHING;
    const SigpipeGuard tGuard;
    const bool bMayBlock = S_ISFIFO(tStatus.st_mode) || S_ISCHR(tStatus.st_mode);
    const int nOwn = bMayBlock ? OpenWithoutBlocking() : -1;
    const TAKEN enTaken = WriteAtOnce(nOwn >= 0 ? nOwn : STDERR_FILENO, S_ISSOCK(tStatus.st_mode), pBytes, nSize);
    if (nOwn >= 0)
        close(nOwn);
    return enTaken;
}

void TraceChannel_ReadEnvironment() {
    const char *const szStream = secure_getenv("JOURNAL_STREAM");
    const std::string_view szText = szStream != nullptr ? szStream : "";
    const char *const pEnd = szText.data() + szText.size();
    dev_t nDevice = 0;
    ino_t nInode = 0;
    const auto [pColon, enDeviceError] = std::from_chars(szText.data(), pEnd, nDevice);
    bool bKnown = enDeviceError == std::errc{} && pColon != pEnd && *pColon == ':';
    if (bKnown) {
        const auto [pStop, enInodeError] = std::from_chars(pColon + 1, pEnd, nInode);
        bKnown = enInodeError == std::errc{} && pStop == pEnd;
    }
    nJournalDevice.store(nDevice, std::memory_order_relaxed);
    nJournalInode.store(nInode, std::memory_order_relaxed);
    bJournalKnown.store(bKnown, std::memory_order_release);
}

bool TraceChannel_IsJournal() {
    struct stat tStatus {};
    return bJournalKnown.load(std::memory_order_acquire) && fstat(STDERR_FILENO, &tStatus) == 0 &&
           tStatus.st_dev == nJournalDevice.load(std::memory_order_relaxed) &&
           tStatus.st_ino == nJournalInode.load(std::memory_order_relaxed);
}
