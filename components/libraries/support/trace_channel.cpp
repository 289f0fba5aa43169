// Standard error as the channel of trace messages.
//
// poll() does not guarantee that write() will not block: several threads may be told of the same free place in a
// pipe, and a terminal takes less than a line. So nothing is written to a descriptor that could wait: sockets are
// asked not to with each message, pipes and terminals are opened anew without blocking (changing the mode of
// standard error itself would change it for every process that shares it). Where that is refused, a pipe can still
// be asked not to wait in another way, and the controlling terminal has a name of its own.
#include "trace_channel.h"

#include <atomic>
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <fcntl.h>
#include <string_view>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <termios.h>
#include <unistd.h>

#include "write_signals_guard.h"

namespace {

std::atomic<bool> g_bJournalKnown{false};
std::atomic<dev_t> g_nJournalDevice{0};
std::atomic<ino_t> g_nJournalInode{0};

// The message written last was cut short. Whoever takes this up ends its line.
std::atomic<bool> g_bLineIsOpen{false};

constexpr unsigned MEMORY_DEVICES = 1; // the major number of /dev/null and its like, which never wait

// How a message gets to standard error without waiting.
struct Way {
    ssize_t (*pWrite)(int nFileDescriptor, const void *pBytes, size_t nSize); // null: not at all
    int nFileDescriptor;
};

constexpr Way NO_WAY{nullptr, -1};

constexpr int OPEN_FLAGS = O_WRONLY | O_APPEND | O_NONBLOCK | O_NOCTTY | O_CLOEXEC;

ssize_t Send(int nFileDescriptor, const void *pBytes, size_t nSize) {
    return send(nFileDescriptor, pBytes, nSize, MSG_DONTWAIT | MSG_NOSIGNAL);
}

// Moves the bytes out of a pipe of this process's own: unlike write(), that can be asked not to wait.
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

// A descriptor of standard error's pipe or device that does not block, or -1. The thread's own folder, since that of
// the process is empty once its first thread has ended.
int OpenWithoutBlocking() {
    return open("/proc/thread-self/fd/2", OPEN_FLAGS);
}

// The process's controlling terminal may be opened by its name whoever owns it.
int OpenControllingTerminal() {
    return tcgetsid(STDERR_FILENO) != -1 ? open("/dev/tty", OPEN_FLAGS) : -1;
}

Way FindWayToPipe() {
    const int nOwn = OpenWithoutBlocking();
    return nOwn >= 0 ? Way{write, nOwn} : Way{MoveIntoPipe, STDERR_FILENO};
}

Way FindWayToDevice(dev_t nDevice) {
    if (major(nDevice) == MEMORY_DEVICES)
        return {write, STDERR_FILENO};
    // Opening the master of a pseudo-terminal would make another pseudo-terminal.
    if (nDevice == makedev(5, 2))
        return NO_WAY;
    int nOwn = OpenWithoutBlocking();
    if (nOwn < 0)
        nOwn = OpenControllingTerminal();
    return nOwn >= 0 ? Way{write, nOwn} : NO_WAY;
}

Way FindWay() {
    struct stat Status {};
    if (fstat(STDERR_FILENO, &Status) != 0)
        return NO_WAY;
    switch (Status.st_mode & S_IFMT) {
    case S_IFREG:
    case S_IFBLK:
        return {write, STDERR_FILENO};
    case S_IFSOCK:
        return {Send, STDERR_FILENO};
    case S_IFIFO:
        return FindWayToPipe();
    case S_IFCHR:
        return FindWayToDevice(Status.st_rdev);
    default: // such as a counter, which waits when it is full
        return NO_WAY;
    }
}

size_t WriteOnce(const Way &Out, const char *pBytes, size_t nSize) {
    ssize_t nWritten = 0;
    do {
        nWritten = Out.pWrite(Out.nFileDescriptor, pBytes, nSize);
    } while (nWritten < 0 && errno == EINTR);
    return nWritten > 0 ? static_cast<size_t>(nWritten) : 0;
}

} // namespace

size_t WriteTraceLine(const char *pLine, size_t nSize) {
    const WriteSignalsGuard Guard;
    const Way Out = FindWay();
    if (Out.pWrite == nullptr)
        return 0;
    const bool bEndsLine = g_bLineIsOpen.exchange(false, std::memory_order_relaxed);
    const size_t nFirst = bEndsLine ? 0 : 1;
    const size_t nEnd = nFirst + WriteOnce(Out, pLine + nFirst, nSize - nFirst);
    const bool bLeavesLine = nEnd > nFirst ? pLine[nEnd - 1] != '\n' : bEndsLine;
    // What is left of a message is not sent later: another thread's message may have come between.
    if (bLeavesLine)
        g_bLineIsOpen.store(true, std::memory_order_relaxed);
    if (Out.nFileDescriptor != STDERR_FILENO)
        close(Out.nFileDescriptor);
    return nEnd > 1 ? nEnd - 1 : 0;
}

void FindJournal() {
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
    g_nJournalDevice.store(nDevice, std::memory_order_relaxed);
    g_nJournalInode.store(nInode, std::memory_order_relaxed);
    g_bJournalKnown.store(bKnown, std::memory_order_release);
}

bool IsJournal() {
    struct stat Status {};
    return g_bJournalKnown.load(std::memory_order_acquire) && fstat(STDERR_FILENO, &Status) == 0 &&
           Status.st_dev == g_nJournalDevice.load(std::memory_order_relaxed) &&
           Status.st_ino == g_nJournalInode.load(std::memory_order_relaxed);
}
