// A handler while it is called. Another thread may replace it, or destroy its accessor, at any moment; it
// then lives until the call has ended. A call takes no lock and changes no word that another thread changes;
// who replaces pays:
//
//   call                                     replacement, under a lock
//   ----                                     -------------------------
//   reads the member: handler H              stores the new handler in the member, marks H as retired
//   stores H in a word of its own            barrier in every thread (membarrier)
//   reads the member again, must be H        reads the words of all calls: ends H if no call has it
//   ... calls H ...
//   clears the word
//   reads whether anything is retired;       (if a call has it, that call does the same at its end)
//   if so, looks through the words for H as
//   well, under the lock
//
// So a replaced handler is destroyed by who replaces it or by the last call of it, before that returns, as
// if each call had a std::shared_ptr of it. A forked child must not call or replace handlers: its parent's
// calls would have theirs for ever.
//
// The barrier falls, in each thread, before or after any of its steps. If the call read H again, it was
// before the barrier, and its word with H is seen behind it. If its word with H is seen there, the call
// clears it behind the barrier, and then sees that H is retired. Where the system has no such barrier, the
// words are written and the member read in the one order that all threads see (sequentially consistent),
// which says the same.
#ifndef PLATFORM_ADAPTATION_CALLED_HANDLER_H
#define PLATFORM_ADAPTATION_CALLED_HANDLER_H

#include <atomic>
#include <memory>

#include "fast_path.h"
#include "platform_adaptation/system_access/value_handler.h"

namespace handlers {

// The first of the two words of a std::shared_ptr is its pointer, in every standard library that there is.
// (The atomic functions of std::shared_ptr take a lock, and count.)
struct [[gnu::may_alias]] Words {
    ValueHandler* handler;
    void* count;
};
static_assert(sizeof(Words) == sizeof(std::shared_ptr<ValueHandler>));

inline ValueHandler* current(const std::shared_ptr<ValueHandler>& member, std::memory_order order) {
    auto& words = reinterpret_cast<Words&>(const_cast<std::shared_ptr<ValueHandler>&>(member));
    return std::atomic_ref<ValueHandler*>(words.handler).load(order);
}

// The word of one call. Each thread keeps those that it has needed: as many as its calls were nested.
struct CallWord {
    std::atomic<ValueHandler*> handler{nullptr};
    CallWord* nextFree = nullptr;  // of this thread, or of those that have ended
    CallWord* nextOfAll = nullptr;
};

// Whether there is such a barrier; known before the first word is made.
extern bool hasBarrier;
extern std::atomic<bool> anyRetired;
// At a fixed place of the thread's block: found without a call.
[[gnu::tls_model("initial-exec")]] extern constinit thread_local CallWord* freeWord;

RARE_PATH CallWord* makeWord();
// Ends the handler that a call has left, if it was replaced and no other call has it.
RARE_PATH void endRetired(const ValueHandler* left);

// Says in a call's word which handler the call has.
[[gnu::always_inline]] inline void set(CallWord& word, ValueHandler* handler) {
    if (hasBarrier) [[likely]] {
        word.handler.store(handler, std::memory_order_release);
        // The compiler keeps the order here; the processor, the one who replaces sees to.
        std::atomic_signal_fence(std::memory_order_seq_cst);
    } else {
        word.handler.store(handler, std::memory_order_seq_cst);
    }
}

// Says which handler the call is about to have, and returns the one that then is the member's.
inline ValueHandler* announce(CallWord& word, ValueHandler* handler,
                              const std::shared_ptr<ValueHandler>& member) {
    set(word, handler);
    return current(member, std::memory_order_seq_cst);
}

// Announces the handler that the member has `now`, until that is the announced one. It ends those that it
// leaves: a replacement may have taken the call for one of theirs. Null if the member has none any more.
RARE_PATH ValueHandler* follow(CallWord& word, ValueHandler* announced, ValueHandler* now,
                               const std::shared_ptr<ValueHandler>& member);

class Called {
  public:
    explicit Called(const std::shared_ptr<ValueHandler>& member)
        : m_handler(current(member, std::memory_order_relaxed)) {
        if (m_handler == nullptr) return;
        m_word = freeWord;
        if (m_word == nullptr) [[unlikely]]
            m_word = makeWord();
        freeWord = m_word->nextFree;
        ValueHandler* now = announce(*m_word, m_handler, member);
        if (now != m_handler) [[unlikely]]
            now = follow(*m_word, m_handler, now, member);
        m_handler = now;
    }
    [[gnu::always_inline]] ~Called() {
        if (m_word == nullptr) return;
        set(*m_word, nullptr);
        m_word->nextFree = freeWord;
        freeWord = m_word;
        if (anyRetired.load(std::memory_order_seq_cst)) [[unlikely]]
            endRetired(m_handler);
    }
    Called(const Called&) = delete;
    Called& operator=(const Called&) = delete;

    // Null if there was none.
    ValueHandler* handler() const { return m_handler; }

  private:
    CallWord* m_word = nullptr;
    ValueHandler* m_handler;
};

// Any thread, also from a call of the handler that is replaced.
void replace(std::shared_ptr<ValueHandler>& member, std::shared_ptr<ValueHandler> handler);

}  // namespace handlers

#endif
