/* Standard error as the channel of trace messages.
 *
 * poll() does not guarantee that write() will not block: several threads may be told of the same free place in a
 * pipe, and a terminal takes less than a line. So nothing is written to a descriptor that could wait: sockets are
 * asked not to with each message, pipes and terminals are opened anew without blocking (changing the mode of
 * standard error itself would change it for every process that shares it). Where that is refused, a pipe can still
 * be asked not to wait in another way, and the controlling terminal has a name of its own. */
#include "trace_channel.h"

#include "write_signals_guard.h"

#include <atomic>
#include <cerrno>
#include <charconv>
#include <fcntl.h>
#include <stdlib.h>
#include <string_view>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <termios.h>
#include <unistd.h>

namespace {

std::atomic<bool> bJournalKnown{false};
std::atomic<dev_t> nJournalDevice{0};
std::atomic<ino_t> nJournalInode{0};

/* The message written last was cut short. Whoever takes this up ends its line. */
std::atomic<bool> bLineIsOpen{false};

constexpr unsigned MEMORY_DEVICES = 1; /* the major number of /dev/null and its like, which never wait */

/* How a message gets to standard error without waiting. */
struct WAY {
    ssize_t (*pWrite)(int nFileDescriptor, const void *pBytes, size_t nSize); /* null: not at all */
    int nFileDescriptor;
};

constexpr WAY NO_WAY{nullptr, -1};

constexpr int OPEN_FLAGS = O_WRONLY | O_APPEND | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;

ssize_t Send(int nFileDescriptor, const void *pBytes, size_t nSize) {
    return send(nFileDescriptor, pBytes, nSize, MSG_DONTWAIT | MSG_NOSIGNAL);
}

/* Moves the bytes out of a pipe of this process's own: unlike write(), that can be asked not to wait. */
ssize_t MoveIntoPipe(int nFileDescriptor, const void *pBytes, size_t nSize) {
    int anOwn[2];
    if (pipe2(anOwn, O_NONBLOCK | O_CLOEXEC) != 0)
        return -1;
    ssize_t nMoved = write(anOwn[1], pBytes, nSize);
    if (nMoved > 0)
        nMoved = splice(anOwn[0], nullptr, nFileDescriptor, nullptr, static_cast<size_t>(nMoved), SPLICE_F_NONBLOCK);
    close(anOwn[0]);
    close(anOwn[1]);
    return nMoved;
}

/* A descriptor of standard error's pipe or device that does not block, or -1. The thread's own folder, since that of
 * the process is empty once its first thread has ended. */
int OpenWithoutBlocking() {
    return open("/proc/thread-self/fd/2", OPEN_FLAGS);
}

/* The process's controlling terminal may be opened by its name whoever owns it. */
int OpenControllingTerminal() {
    return tcgetsid(STDERR_FILENO) != -1 ? open("/dev/tty", OPEN_FLAGS) : -1;
}

WAY FindWayToPipe() {
    const int nOwn = OpenWithoutBlocking();
    return nOwn >= 0 ? WAY{write, nOwn} : WAY{MoveIntoPipe, STDERR_FILENO};
}

WAY FindWayToDevice(dev_t nDevice) {
    if (major(nDevice) == MEMORY_DEVICES)
        return {write, STDERR_FILENO};
    // Opening the master of a pseudo-terminal would make another pseudo-terminal.
    if (nDevice == makedev(5, 2))
        return NO_WAY;
    int nOwn = OpenWithoutBlocking();
    if (nOwn < 0)
        nOwn = OpenControllingTerminal();
    return nOwn >= 0 ? WAY{write, nOwn} : NO_WAY;
}

WAY FindWay() {
    struct stat tStatus {};
    if (fstat(STDERR_FILENO, &tStatus) != 0)
        return NO_WAY;
    switch (tStatus.st_mode & S_IFMT) {
    case S_IFREG:
    case S_IFBLK:
        return {write, STDERR_FILENO};
    case S_IFSOCK:
        return {Send, STDERR_FILENO};
    case S_IFIFO:
        return FindWayToPipe();
    case S_IFCHR:
        return FindWayToDevice(tStatus.st_rdev);
    default: // such as a counter, which waits when it is full
        return NO_WAY;
    }
}

size_t WriteOnce(const WAY &tWay, const char *pBytes, size_t nSize) {
    ssize_t nWritten = 0;
    do {
        nWritten = tWay.pWrite(tWay.nFileDescriptor, pBytes, nSize);
    } while (nWritten < 0 && errno == EINTR);
    return nWritten > 0 ? static_cast<size_t>(nWritten) : 0;
}

} // namespace

size_t TraceChannel_WriteLine(const char *pLine, size_t nSize) {
    const WriteSignalsGuard tGuard;
    const WAY tWay = FindWay();
    if (tWay.pWrite == nullptr)
        return 0;
    const bool bEndsLine = bLineIsOpen.exchange(false, std::memory_order_relaxed);
    const size_t nFirst = bEndsLine ? 0 : 1;
    const size_t nEnd = nFirst + WriteOnce(tWay, pLine + nFirst, nSize - nFirst);
    const bool bLeavesLine = nEnd > nFirst ? pLine[nEnd - 1] != '\n' : bEndsLine;
    // What is left of a message is not sent later: another thread's message may have come between.
    if (bLeavesLine)
        bLineIsOpen.store(true, std::memory_order_relaxed);
    if (tWay.nFileDescriptor != STDERR_FILENO)
        close(tWay.nFileDescriptor);
    return nEnd > 1 ? nEnd - 1 : 0;
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
