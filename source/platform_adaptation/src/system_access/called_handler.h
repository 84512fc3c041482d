// A handler while it is called. Another thread may replace it, or destroy its accessor, at any moment; it
// then lives until the call has ended. A call takes no lock and changes no word that another thread changes;
// who replaces pays:
//
//   call                                     replacement, under a lock
//   ----                                     -------------------------
//   reads the member: handler H              stores the new handler in the member, marks H as retired
//   stores H in a word of its own            barrier in every thread (membarrier)
//   reads the member again: if it is not H,  reads the words of all calls: ends H if no call has it
//   leaves H and begins again
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
// The barrier falls, in each thread, before or after any of its steps. If the call read H again, that was
// before the barrier, and its word with H is seen behind it. If its word with H is seen there, the call
// clears it behind the barrier, and then sees that H is retired. Where the system has no such barrier, the
// words are written and the member read in the one order that all threads see (sequentially consistent),
// which says the same.
#ifndef PLATFORM_ADAPTATION_CALLED_HANDLER_H
#define PLATFORM_ADAPTATION_CALLED_HANDLER_H

#include <atomic>
#include <cstdint>
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

[[gnu::always_inline]] inline ValueHandler* current(const std::shared_ptr<ValueHandler>& member,
                                                    std::memory_order order) {
    auto& words = reinterpret_cast<Words&>(const_cast<std::shared_ptr<ValueHandler>&>(member));
    return std::atomic_ref<ValueHandler*>(words.handler).load(order);
}

// The word of one call: the address of its handler, 0 if it is free. Each thread keeps those that it has
// needed: as many as its calls were nested.
struct CallWord {
    std::atomic<std::uintptr_t> handler{0};
    CallWord* nextOfThread = nullptr;  // or of those whose threads have ended
    CallWord* nextOfAll = nullptr;
};

// With a value for the call to hand on, of which nothing but the kind and the number is ever set.
struct Call : CallWord {
    ValueObject integer;
};

extern std::atomic<bool> anyRetired;
// The first word that the thread made, which is a Call. Without the barrier, before the thread's first call
// and after its end: a word that is never free, and no Call.
extern constinit thread_local CallWord* firstWord;

// Ends the handler that a call has left, if it was replaced and no other call has it.
RARE_PATH void endRetired(const ValueHandler* left);

// Calls the handler that the member has, if it has one.
void call(const std::shared_ptr<ValueHandler>& member, const ValueObject& value);

// The same in the thread's first word, in which `announced` is.
void callAnother(const std::shared_ptr<ValueHandler>& member, ValueHandler* announced,
                 const ValueObject& value);

// A call in the thread's first word, which is most of them, without a function.
class FirstCall {
  public:
    // If not, nothing of this class may be used.
    [[gnu::always_inline]] static bool isPossible() {
        return firstWord->handler.load(std::memory_order_relaxed) == 0;
    }
    [[gnu::always_inline]] static ValueObject& integer() { return static_cast<Call*>(firstWord)->integer; }

    [[gnu::always_inline]] explicit FirstCall(ValueHandler* handler)
        : m_word(*firstWord), m_handler(handler) {
        m_word.handler.store(reinterpret_cast<std::uintptr_t>(handler), std::memory_order_release);
        // The compiler keeps the order by this, the processor by the barrier of who replaces.
        std::atomic_signal_fence(std::memory_order_seq_cst);
    }
    [[gnu::always_inline]] ~FirstCall() {
        m_word.handler.store(0, std::memory_order_release);
        std::atomic_signal_fence(std::memory_order_seq_cst);
        if (anyRetired.load(std::memory_order_relaxed)) [[unlikely]]
            endRetired(m_handler);
    }
    FirstCall(const FirstCall&) = delete;
    FirstCall& operator=(const FirstCall&) = delete;

    // Whether the member has the announced handler still: only then may it be called. Otherwise,
    // callAnother() goes on.
    [[gnu::always_inline]] bool mayCall(const std::shared_ptr<ValueHandler>& member) const {
        return current(member, std::memory_order_acquire) == m_handler;
    }

  private:
    CallWord& m_word;
    ValueHandler* m_handler;
};

// Any thread, also from a call of the handler that is replaced.
void replace(std::shared_ptr<ValueHandler>& member, std::shared_ptr<ValueHandler> handler);

}  // namespace handlers

#endif
