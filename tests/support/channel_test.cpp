// Every kind of standard error, with nobody reading: no message waits, none is lost uncounted, each begins its own
// line.
#include <fcntl.h>
#include <functional>
#include <gmock/gmock.h>
#include <regex>
#include <sys/eventfd.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <termios.h>
#include <thread>
#include <unistd.h>

#include "dbgtrace.h"
#include "interpose/clock.h"

namespace {

constexpr uid_t OWNER = 12345, WRITER = 65534;
constexpr int LENGTHS = 1001; // some are cut to the longest message
constexpr unsigned WATCHDOG_SECONDS = 60;

struct Ends {
    int nRead = -1;
    int nWrite = -1;
};

Ends Pipe() {
    int anEnds[2];
    return pipe(anEnds) == 0 ? Ends{anEnds[0], anEnds[1]} : Ends{};
}

template <int TYPE>
Ends Socket() {
    int anEnds[2];
    return socketpair(AF_UNIX, TYPE, 0, anEnds) == 0 ? Ends{anEnds[0], anEnds[1]} : Ends{};
}

Ends Terminal() {
    const int nMaster = posix_openpt(O_RDWR | O_NOCTTY);
    grantpt(nMaster);
    unlockpt(nMaster);
    return {nMaster, open(ptsname(nMaster), O_RDWR | O_NOCTTY)};
}

Ends TostopTerminal() {
    const Ends Made = Terminal();
    termios Modes{};
    tcgetattr(Made.nWrite, &Modes);
    Modes.c_lflag |= TOSTOP;
    tcsetattr(Made.nWrite, TCSANOW, &Modes);
    return Made;
}

Ends StoppedTerminal() {
    const Ends Made = Terminal();
    tcflow(Made.nWrite, TCOOFF);
    return Made;
}

Ends Master() {
    const Ends Made = Terminal();
    return {Made.nWrite, Made.nRead};
}

Ends File() {
    const std::string szPath = testing::TempDir() + "channel" + std::to_string(getpid());
    const Ends Made{open(szPath.c_str(), O_RDONLY | O_CREAT, 0600), open(szPath.c_str(), O_WRONLY)};
    unlink(szPath.c_str());
    return Made;
}

Ends Null() {
    return {.nWrite = open("/dev/null", O_WRONLY)};
}

enum class Pass { All, Some, None };

struct Kind {
    const char *szName;
    Ends (*pMake)();
    Pass enPass = Pass::Some;
    bool bOtherOwner = false;   // the writer may not open it
    bool bControlling = false;  // it is the writer's controlling terminal
    bool bInBackground = false; // of its controlling terminal
    bool bFirstThreadHasEnded = false;

    friend std::ostream &operator<<(std::ostream &Out, const Kind &Told) { return Out << Told.szName; }
};

const Kind KINDS[] = {
    {.szName = "File", .pMake = File, .enPass = Pass::All},
    {.szName = "FileOfAnotherOwner", .pMake = File, .enPass = Pass::All, .bOtherOwner = true},
    {.szName = "Pipe", .pMake = Pipe},
    {.szName = "PipeOfAnotherOwner", .pMake = Pipe, .bOtherOwner = true},
    {.szName = "PacketSocket", .pMake = Socket<SOCK_SEQPACKET>},
    {.szName = "SocketOfAnotherOwner", .pMake = Socket<SOCK_STREAM>, .bOtherOwner = true},
    {.szName = "Terminal", .pMake = Terminal},
    {.szName = "TerminalWithoutFirstThread", .pMake = Terminal, .bFirstThreadHasEnded = true},
    {.szName = "StoppedTerminal", .pMake = StoppedTerminal, .enPass = Pass::None},
    {.szName = "TerminalOfAnotherOwner", .pMake = Terminal, .enPass = Pass::None, .bOtherOwner = true},
    {.szName = "ControllingTerminalOfAnotherOwner", .pMake = Terminal, .bOtherOwner = true, .bControlling = true},
    {.szName = "TerminalThatStopsTheBackground", .pMake = TostopTerminal, .bControlling = true, .bInBackground = true},
    {.szName = "MasterOfATerminal", .pMake = Master, .enPass = Pass::None},
    {.szName = "NullDevice", .pMake = Null, .enPass = Pass::All},
    {.szName = "NullDeviceOfAnotherOwner", .pMake = Null, .enPass = Pass::All, .bOtherOwner = true},
    {.szName = "Counter", .pMake = [] { return Ends{.nWrite = eventfd(0, 0)}; }, .enPass = Pass::None},
    {.szName = "Closed", .pMake = [] { return Ends{}; }, .enPass = Pass::None},
};

// A terminal has one: only where nobody writes meanwhile is a message that is cut short ended for certain. What is
// closed has one, too: a file that another thread opens (a sanitizer's pipe, say) would become standard error.
int WritersToStandardError() {
    return isatty(STDERR_FILENO) == 1 || fcntl(STDERR_FILENO, F_GETFD) < 0 ? 1 : 4;
}

std::string ReadAll(int nFile) {
    std::string szAll;
    char acBytes[4096];
    fcntl(nFile, F_SETFL, O_NONBLOCK); // fails like the read where there is no file
    for (ssize_t nRead = 0; (nRead = read(nFile, acBytes, sizeof acBytes)) > 0;)
        szAll.append(acBytes, static_cast<size_t>(nRead));
    return std::regex_replace(szAll, std::regex("\r"), "");
}

struct Told {
    int nComplete = 0;
    int nLost = 0; // as the messages say
};

// Takes the lines apart: nothing but messages, each at the start of a line. Some are incomplete.
Told Split(const std::string &szAll) {
    static const std::regex MESSAGE("2023-11-14 22:13:20.000000Z M error \\[[0-9]+\\] F f\\.cpp:1: "
                                    "(\\(([0-9]+) messages lost\\) )?(x*|last|to a pipe)(\\.|x{20})");
    Told Of;
    std::istringstream Lines(szAll);
    for (std::string szLine; std::getline(Lines, szLine);) {
        std::smatch Match;
        EXPECT_EQ(szLine.find("M error", szLine.find("M error") + 1), std::string::npos) << szLine;
        EXPECT_THAT(szLine, testing::StartsWith("2"));
        if (!std::regex_match(szLine, Match, MESSAGE))
            continue;
        if (Match[2].matched)
            Of.nLost += std::stoi(Match[2]);
        // The longest messages end before their point.
        Of.nComplete += Match[4] == "." || szLine.size() == 1023 ? 1 : 0;
    }
    return Of;
}

void PrintFrom(HDBG hDbg, int nFirst, int nStep) {
    for (int nLength = nFirst; nLength < LENGTHS; nLength += nStep)
        _DoDbgPrintEx(hDbg, 3, "F", "f.cpp", 1, "%.*s.", nLength, std::string(LENGTHS, 'x').c_str());
}

// Prints all lengths, reads what has passed, prints once more, and at last to a pipe. The watchdog ends the process
// where a message waits.
[[noreturn]] void Print(const Kind &Of, int nReader, const Ends &OwnPipe) {
    HDBG hDbg = nullptr;
    _DoDbgInit("M", &hDbg);
    std::vector<std::jthread> Threads;
    const int nThreads = WritersToStandardError();
    for (int nThread = 0; nThread < nThreads; ++nThread)
        Threads.emplace_back(PrintFrom, hDbg, nThread, nThreads);
    Threads.clear();
    std::string szPassed = ReadAll(nReader);
    _DoDbgPrintEx(hDbg, 3, "F", "f.cpp", 1, "last.");
    const Told InChannel = Split(szPassed + ReadAll(nReader));
    dup2(OwnPipe.nWrite, STDERR_FILENO);
    _DoDbgPrintEx(hDbg, 3, "F", "f.cpp", 1, "to a pipe.");
    const Told InPipe = Split(ReadAll(OwnPipe.nRead));
    const int nTaken = nReader < 0 && Of.enPass == Pass::All ? LENGTHS + 1 : InChannel.nComplete;
    EXPECT_EQ(InPipe.nComplete, 1);
    EXPECT_EQ(nTaken + InChannel.nLost + InPipe.nLost, LENGTHS + 1);
    EXPECT_EQ(Of.enPass == Pass::All, nTaken == LENGTHS + 1) << nTaken;
    EXPECT_EQ(Of.enPass == Pass::None, nTaken == 0) << nTaken;
    std::fflush(stdout);
    _exit(testing::Test::HasFailure() ? EXIT_FAILURE : EXIT_SUCCESS);
}

// Goes on in a child with a watchdog; this process only tells how the child ends. One that is stopped has failed.
int StatusOf(const std::function<void()> &Child) {
    const pid_t nChild = fork();
    if (nChild == 0) {
        alarm(WATCHDOG_SECONDS);
        Child();
    }
    int nStatus = 0;
    waitpid(nChild, &nStatus, WUNTRACED);
    if (WIFSTOPPED(nStatus))
        kill(nChild, SIGKILL);
    return nStatus;
}

// In a process of its own, whose standard error is the channel.
[[noreturn]] void Write(const Kind &Of, const Ends &Channel) {
    const Ends OwnPipe = Pipe();
    if (Of.bControlling && (setsid() < 0 || ioctl(Channel.nWrite, TIOCSCTTY, 0) != 0))
        _exit(2);
    if (dup2(Channel.nWrite, STDERR_FILENO) < 0)
        close(STDERR_FILENO);
    if (Of.bOtherOwner && setresuid(WRITER, WRITER, WRITER) != 0)
        _exit(3);
    if (Of.bInBackground) {
        const int nStatus = StatusOf([&] {
            setpgid(0, 0);
            Print(Of, Channel.nRead, OwnPipe);
        });
        _exit(nStatus == 0 ? EXIT_SUCCESS : EXIT_FAILURE);
    }
    if (!Of.bFirstThreadHasEnded)
        Print(Of, Channel.nRead, OwnPipe);
    std::thread(Print, std::cref(Of), Channel.nRead, OwnPipe).detach();
    for (;;)
        syscall(SYS_exit, 0); // this thread only
}

class EachChannel : public testing::TestWithParam<Kind> {};

TEST_P(EachChannel, TakesWhatItCanAndCountsTheRest) {
    const Kind &Of = GetParam();
    if (Of.bOtherOwner && geteuid() != 0)
        GTEST_SKIP() << "another owner's channel: only root can make one";
    interpose::g_Clock.nSec = 1'700'000'000;
    interpose::g_Clock.nNsec = 0;
    const Ends Channel = Of.pMake();
    ASSERT_TRUE(!Of.bOtherOwner || Of.pMake != Terminal ||
                (fchown(Channel.nWrite, OWNER, OWNER) == 0 && fchmod(Channel.nWrite, 0600) == 0));
    EXPECT_EQ(StatusOf([&] { Write(Of, Channel); }), 0) << "a message waits, or see above";
    close(Channel.nRead);
    close(Channel.nWrite);
}

INSTANTIATE_TEST_SUITE_P(Kinds, EachChannel, testing::ValuesIn(KINDS),
                         [](const auto &Info) { return std::string(Info.param.szName); });

} // namespace
