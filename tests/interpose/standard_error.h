// Standard error for a test: a channel whose other end the test reads.
#ifndef TESTS_INTERPOSE_STANDARD_ERROR_H
#define TESTS_INTERPOSE_STANDARD_ERROR_H

#include <fcntl.h>
#include <gtest/gtest.h>
#include <string>
#include <sys/socket.h>
#include <unistd.h>
#include <utility>

#include "threadcheck.h"

namespace interpose {

// What one read gives.
inline std::string TextIn(int nReader) {
    char acText[8192];
    const ssize_t nRead = read(nReader, acText, sizeof acText);
    return {acText, nRead > 0 ? static_cast<size_t>(nRead) : 0};
}

enum class Channel {
    Messages, // keeps what was written in one call apart
    Pipe
};

class StandardError {
public:
    explicit StandardError(Channel enKind = Channel::Messages) { Replace(enKind); }
    ~StandardError() {
        dup2(m_nSaved, STDERR_FILENO);
        close(m_nSaved);
        close(m_nReader);
    }
    StandardError(const StandardError &) = delete;
    StandardError &operator=(const StandardError &) = delete;

    void Replace(Channel enKind) {
        CloseReader();
        dup2(m_nSaved, STDERR_FILENO); // it may have been closed
        int anEnds[2] = {-1, -1};
        EXPECT_EQ(enKind == Channel::Messages ? socketpair(AF_UNIX, SOCK_SEQPACKET, 0, anEnds) : pipe(anEnds), 0);
        m_nReader = anEnds[0];
        fcntl(m_nReader, F_SETFL, O_NONBLOCK);
        dup2(anEnds[1], STDERR_FILENO);
        close(anEnds[1]);
    }
    void CloseReader() { close(std::exchange(m_nReader, -1)); }

    // A message, or what the pipe holds; empty where there is nothing.
    [[nodiscard]] std::string Read() const { return TextIn(m_nReader); }

private:
    int m_nSaved = dup(STDERR_FILENO);
    int m_nReader = -1;
};

// The positions of all threads, as a dump writes them.
inline std::string DumpedThreads() {
    int anEnds[2] = {-1, -1};
    EXPECT_EQ(pipe(anEnds), 0);
    ThreadState_Dump(anEnds[1]);
    close(anEnds[1]);
    std::string szDumped = TextIn(anEnds[0]);
    close(anEnds[0]);
    return szDumped;
}

} // namespace interpose

#endif
