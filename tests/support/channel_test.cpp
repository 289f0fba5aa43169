/* Every kind of standard error, with nobody reading: no message waits, none is lost uncounted, each begins its own
 * line. */
#include "dbgtrace.h"
#include <fcntl.h>
#include <gmock/gmock.h>
#include <regex>
#include <sys/eventfd.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <termios.h>
#include <thread>
#include <unistd.h>

namespace {

constexpr uid_t OWNER = 12345, WRITER = 65534;
constexpr int LENGTHS = 1001; /* some are cut to the longest message */
constexpr unsigned WATCHDOG_SECONDS = 60;

struct ENDS {
    int nRead = -1;
    int nWrite = -1;
};

ENDS Pipe() {
    int anEnds[2];
    return pipe(anEnds) == 0 ? ENDS{anEnds[0], anEnds[1]} : ENDS{};
}

ENDS StreamSocket() {
    int anEnds[2];
    return socketpair(AF_UNIX, SOCK_STREAM, 0, anEnds) == 0 ? ENDS{anEnds[0], anEnds[1]} : ENDS{};
}

ENDS Terminal() {
    const int nMaster = posix_openpt(O_RDWR | O_NOCTTY);
    grantpt(nMaster);
    unlockpt(nMaster);
    return {nMaster, open(ptsname(nMaster), O_RDWR | O_NOCTTY)};
}

ENDS TerminalThatStopsTheBackground() {
    const ENDS tEnds = Terminal();
    termios tModes{};
    tcgetattr(tEnds.nWrite, &tModes);
    tModes.c_lflag |= TOSTOP;
    tcsetattr(tEnds.nWrite, TCSANOW, &tModes);
    return tEnds;
}

ENDS StoppedTerminal() {
    const ENDS tEnds = Terminal();
    tcflow(tEnds.nWrite, TCOOFF);
    return tEnds;
}

ENDS Master() {
    const ENDS tEnds = Terminal();
    return {tEnds.nWrite, tEnds.nRead};
}

ENDS File() {
    const std::string szPath = testing::TempDir() + "channel" + std::to_string(getpid());
    const ENDS tEnds{open(szPath.c_str(), O_RDONLY | O_CREAT, 0600), open(szPath.c_str(), O_WRONLY)};
    unlink(szPath.c_str());
    return tEnds;
}

ENDS Null() {
    return {-1, open("/dev/null", O_WRONLY)};
}

ENDS Counter() {
    return {-1, eventfd(0, 0)};
}

ENDS Closed() {
    return {};
}

enum class PASS { ALL, SOME, NONE };

struct KIND {
    const char *szName;
    ENDS (*pMake)();
    PASS enPass;
    int nThreads = 4;
    bool bOtherOwner = false;  /* the writer may not open it */
    bool bControlling = false; /* it is the writer's controlling terminal */
    bool bFirstThreadHasEnded = false;
    bool bInBackground = false; /* of the controlling terminal */
};

std::ostream &operator<<(std::ostream &tOut, const KIND &tKind) {
    return tOut << tKind.szName;
}

/* Terminals with one writer: only where nobody writes meanwhile is a message that is cut short ended for certain.
 * Closed with one, too: a file that another thread opens (a sanitizer's pipe, say) would become standard error. */
const KIND KINDS[] = {
    {"File", File, PASS::ALL},
    {"FileOfAnotherOwner", File, PASS::ALL, 4, true},
    {"Pipe", Pipe, PASS::SOME},
    {"PipeOfAnotherOwner", Pipe, PASS::SOME, 4, true},
    {"StreamSocketOfAnotherOwner", StreamSocket, PASS::SOME, 4, true},
    {"Terminal", Terminal, PASS::SOME, 1},
    {"TerminalWithoutFirstThread", Terminal, PASS::SOME, 1, false, false, true},
    {"StoppedTerminal", StoppedTerminal, PASS::NONE},
    {"TerminalOfAnotherOwner", Terminal, PASS::NONE, 4, true},
    {"ControllingTerminalOfAnotherOwner", Terminal, PASS::SOME, 1, true, true},
    {"TerminalThatStopsTheBackground", TerminalThatStopsTheBackground, PASS::SOME, 1, false, true, false, true},
    {"MasterOfATerminal", Master, PASS::NONE},
    {"NullDevice", Null, PASS::ALL},
    {"NullDeviceOfAnotherOwner", Null, PASS::ALL, 4, true},
    {"Counter", Counter, PASS::NONE},
    {"Closed", Closed, PASS::NONE, 1},
};

void PrintFrom(HDBG hDbg, int nFirst, int nStep) {
    for (int nLength = nFirst; nLength < LENGTHS; nLength += nStep)
        _DoDbgPrintEx(hDbg, 3, "F", "f.cpp", 1, "%.*s.", nLength, std::string(LENGTHS, 'x').c_str());
}

/* Prints all lengths, waits until what passed has been read, prints once more, and at last to a pipe of its own. */
void PrintAll(const KIND &tKind, int nParent, int nOwnPipe) {
    HDBG hDbg = nullptr;
    _DoDbgInit("M", &hDbg);
    std::vector<std::thread> tThreads;
    for (int nThread = 1; nThread < tKind.nThreads; ++nThread)
        tThreads.emplace_back(PrintFrom, hDbg, nThread, tKind.nThreads);
    PrintFrom(hDbg, 0, tKind.nThreads);
    for (std::thread &tThread : tThreads)
        tThread.join();
    char cByte = 0;
    if (send(nParent, &cByte, 1, 0) == 1 && recv(nParent, &cByte, 1, 0) == 1)
        _DoDbgPrintEx(hDbg, 3, "F", "f.cpp", 1, "last.");
    dup2(nOwnPipe, STDERR_FILENO);
    _DoDbgPrintEx(hDbg, 3, "F", "f.cpp", 1, "to a pipe.");
    _exit(0);
}

/* Goes on in a child that is not in the terminal's foreground; this process fails when the child is stopped. */
void GoOnInBackground() {
    const pid_t nChild = fork();
    if (nChild == 0) {
        setpgid(0, 0);
        alarm(WATCHDOG_SECONDS);
        return;
    }
    int nStatus = 0;
    waitpid(nChild, &nStatus, WUNTRACED);
    if (WIFSTOPPED(nStatus))
        kill(nChild, SIGKILL);
    _exit(WIFEXITED(nStatus) ? WEXITSTATUS(nStatus) : 4);
}

/* In the child, whose standard error is the channel. */
[[noreturn]] void Write(const KIND &tKind, const ENDS &tEnds, int nParent, int nOwnPipe) {
    alarm(WATCHDOG_SECONDS);
    if (tKind.bControlling && (setsid() < 0 || ioctl(tEnds.nWrite, TIOCSCTTY, 0) != 0))
        _exit(2);
    if (tKind.bInBackground)
        GoOnInBackground();
    if (dup2(tEnds.nWrite, STDERR_FILENO) < 0)
        close(STDERR_FILENO);
    if (tKind.bOtherOwner && setresuid(WRITER, WRITER, WRITER) != 0)
        _exit(3);
    if (!tKind.bFirstThreadHasEnded)
        PrintAll(tKind, nParent, nOwnPipe);
    std::thread(PrintAll, std::cref(tKind), nParent, nOwnPipe).detach();
    for (;;)
        syscall(SYS_exit, 0); // this thread only
}

std::string ReadAll(int nFile) {
    std::string szAll;
    char acBytes[4096];
    if (nFile >= 0)
        fcntl(nFile, F_SETFL, O_NONBLOCK);
    for (ssize_t nRead = 0; nFile >= 0 && (nRead = read(nFile, acBytes, sizeof acBytes)) > 0;)
        szAll.append(acBytes, static_cast<size_t>(nRead));
    return std::regex_replace(szAll, std::regex("\r"), "");
}

struct TOLD {
    int nComplete = 0;
    int nLost = 0; /* as the messages say */
};

/* Takes the lines apart: nothing but messages, each at the start of a line. Some are incomplete. */
TOLD TakeApart(const std::string &szAll) {
    static const std::regex tMessage("[0-9]{4}-[-0-9]{5} [0-9:.]{15}Z M error \\[[0-9]+\\] F f\\.cpp:1: "
                                     "(\\(([0-9]+) messages lost\\) )?(x*|last|to a pipe)(\\.|x{20})");
    TOLD tTold;
    std::istringstream tLines(szAll);
    for (std::string szLine; std::getline(tLines, szLine);) {
        std::smatch tMatch;
        EXPECT_EQ(szLine.find("M error", szLine.find("M error") + 1), std::string::npos) << szLine;
        EXPECT_THAT(szLine, testing::StartsWith("2"));
        if (!std::regex_match(szLine, tMatch, tMessage))
            continue;
        if (tMatch[2].matched)
            tTold.nLost += std::stoi(tMatch[2]);
        // The longest messages end before their point.
        tTold.nComplete += tMatch[4] == "." || szLine.size() == 1023 ? 1 : 0;
    }
    return tTold;
}

class Channel : public testing::TestWithParam<KIND> {};

TEST_P(Channel, TakesWhatItCanAndCountsTheRest) {
    const KIND &tKind = GetParam();
    if (tKind.bOtherOwner && geteuid() != 0)
        GTEST_SKIP() << "another owner's channel: only root can make one";
    const ENDS tEnds = tKind.pMake();
    ASSERT_TRUE(!tKind.bOtherOwner || tKind.pMake != Terminal ||
                (fchown(tEnds.nWrite, OWNER, OWNER) == 0 && fchmod(tEnds.nWrite, 0600) == 0));
    const ENDS tControl = StreamSocket();
    const ENDS tOwnPipe = Pipe();
    const pid_t nChild = fork();
    if (nChild == 0)
        Write(tKind, tEnds, tControl.nWrite, tOwnPipe.nWrite);
    close(tControl.nWrite); // so that a child that dies is noticed
    char cByte = 0;
    EXPECT_EQ(recv(tControl.nRead, &cByte, 1, 0), 1) << "a message waits";
    std::string szRead = ReadAll(tEnds.nRead);
    send(tControl.nRead, &cByte, 1, MSG_NOSIGNAL);
    int nStatus = 0;
    waitpid(nChild, &nStatus, 0);
    EXPECT_EQ(nStatus, 0);
    szRead += ReadAll(tEnds.nRead);
    const TOLD tTold = TakeApart(szRead);
    const TOLD tAfter = TakeApart(ReadAll(tOwnPipe.nRead));
    const int nTaken = tEnds.nRead < 0 && tKind.enPass == PASS::ALL ? LENGTHS + 1 : tTold.nComplete;
    EXPECT_EQ(tAfter.nComplete, 1);
    EXPECT_EQ(nTaken + tTold.nLost + tAfter.nLost, LENGTHS + 1);
    EXPECT_EQ(tKind.enPass == PASS::ALL, nTaken == LENGTHS + 1) << nTaken;
    EXPECT_EQ(tKind.enPass == PASS::NONE, nTaken == 0) << nTaken;
    for (const int nFile : {tEnds.nRead, tEnds.nWrite, tControl.nRead, tOwnPipe.nRead, tOwnPipe.nWrite})
        if (nFile >= 0)
            close(nFile);
}

INSTANTIATE_TEST_SUITE_P(Kinds, Channel, testing::ValuesIn(KINDS),
                         [](const auto &tInfo) { return std::string(tInfo.param.szName); });

} // namespace
