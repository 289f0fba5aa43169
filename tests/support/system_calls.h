// The calls by which the services read and write, made to fail as the kernel may let them.
#ifndef TESTS_SUPPORT_SYSTEM_CALLS_H
#define TESTS_SUPPORT_SYSTEM_CALLS_H

enum class Writes {
    AsAsked,
    ByteByByte, // in the smallest steps, and interrupted before each
    Nothing     // interrupted first; then nothing is taken any more
};

extern Writes g_enWrites;
extern bool g_bReadFails; // where a file ought to end

#endif
