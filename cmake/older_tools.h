/* What the project uses and older tools lack, for them alone; the compiler is told to include it before every source.
 *
 * gcc 11 has no __FILE_NAME__; libc++ before 19 has no std::atomic_ref, before 20 no std::jthread. */
#ifndef OLDER_TOOLS_H
#define OLDER_TOOLS_H

#include <version>

#ifndef __FILE_NAME__
namespace older_tools {

constexpr const char *FileName(const char *szPath) {
    const char *szName = szPath;
    for (const char *pAt = szPath; *pAt != '\0'; ++pAt)
        if (*pAt == '/')
            szName = pAt + 1;
    return szName;
}

} // namespace older_tools

#define __FILE_NAME__ older_tools::FileName(__FILE__)
#endif

#ifndef __cpp_lib_atomic_ref
#include <atomic>

namespace std {

template <typename T>
class atomic_ref {
public:
    explicit atomic_ref(T &tValue) : m_tValue(tValue) {}
    T load(memory_order enOrder = memory_order_seq_cst) const {
        return __atomic_load_n(&m_tValue, static_cast<int>(enOrder));
    }
    void store(T tValue, memory_order enOrder = memory_order_seq_cst) const {
        __atomic_store_n(&m_tValue, tValue, static_cast<int>(enOrder));
    }
    T exchange(T tValue, memory_order enOrder = memory_order_seq_cst) const {
        return __atomic_exchange_n(&m_tValue, tValue, static_cast<int>(enOrder));
    }
    T fetch_add(T tValue, memory_order enOrder = memory_order_seq_cst) const {
        return __atomic_fetch_add(&m_tValue, tValue, static_cast<int>(enOrder));
    }
    bool compare_exchange_strong(T &tExpected, T tValue, memory_order enOrder = memory_order_seq_cst) const {
        return __atomic_compare_exchange_n(&m_tValue, &tExpected, tValue, false, static_cast<int>(enOrder),
                                           __ATOMIC_RELAXED);
    }

private:
    T &m_tValue;
};

} // namespace std
#endif

#ifndef __cpp_lib_jthread
#include <thread>

namespace std {

class jthread : public thread {
public:
    using thread::thread;
    jthread(jthread &&) = default;
    jthread &operator=(jthread &&) = delete;
    ~jthread() {
        if (joinable())
            join();
    }
};

} // namespace std
#endif

#endif
