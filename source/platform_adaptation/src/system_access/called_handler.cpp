#include "called_handler.h"

#include <linux/membarrier.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <mutex>
#include <utility>

namespace handlers {

bool hasBarrier = false;
std::atomic<bool> anyRetired{false};
constinit thread_local CallWord* freeWord = nullptr;

namespace {

struct Retired {
    std::shared_ptr<ValueHandler> handler;
    Retired* next;
};

// Guards everything below.
std::mutex mutex;
CallWord* allWords = nullptr;
CallWord* wordsOfEndedThreads = nullptr;
Retired* retired = nullptr;
Retired* kept = nullptr;

bool barrier(int command) { return syscall(SYS_membarrier, command, 0, 0) == 0; }

void exchange(Words& member, std::shared_ptr<ValueHandler>& handler) {
    auto& words = reinterpret_cast<Words&>(handler);
    void* const count = member.count;
    member.count = words.count;
    words.count = count;
    words.handler =
        std::atomic_ref<ValueHandler*>(member.handler).exchange(words.handler, std::memory_order_seq_cst);
}

// Gives a thread's words to those that come after it.
struct Return {
    ~Return() {
        const std::lock_guard lock(mutex);
        while (CallWord* const word = freeWord) {
            freeWord = word->nextFree;
            word->nextFree = wordsOfEndedThreads;
            wordsOfEndedThreads = word;
        }
    }
};

bool isCalled(const ValueHandler* handler) {
    for (const CallWord* word = allWords; word != nullptr; word = word->nextOfAll)
        if (word->handler.load(std::memory_order_seq_cst) == handler) return true;
    return false;
}

// Every mention of this handler, if no call has it any more. Of no other: its own calls end that, and who
// waits for them relies on it.
Retired* takeEnded(const ValueHandler* handler) {
    if (isCalled(handler)) return nullptr;
    Retired* ended = nullptr;
    for (Retired** link = &retired; Retired* const candidate = *link;) {
        if (candidate->handler.get() != handler) {
            link = &candidate->next;
        } else {
            *link = candidate->next;
            candidate->next = ended;
            ended = candidate;
        }
    }
    anyRetired.store(retired != nullptr, std::memory_order_seq_cst);
    return ended;
}

// Not under the lock: a handler's destructor is its owner's.
void end(Retired* ended) {
    while (ended != nullptr) delete std::exchange(ended, ended->next);
}

}  // namespace

CallWord* makeWord() {
    static thread_local Return whenTheThreadEnds;
    static_cast<void>(whenTheThreadEnds);
    const std::lock_guard lock(mutex);
    if (allWords == nullptr) hasBarrier = barrier(MEMBARRIER_CMD_REGISTER_PRIVATE_EXPEDITED);
    CallWord* word = wordsOfEndedThreads;
    if (word != nullptr) {
        wordsOfEndedThreads = std::exchange(word->nextFree, nullptr);
    } else {
        word = new CallWord;
        word->nextOfAll = std::exchange(allWords, word);
    }
    return word;
}

ValueHandler* follow(CallWord& word, ValueHandler* announced, ValueHandler* now,
                     const std::shared_ptr<ValueHandler>& member) {
    while (now != announced) {
        const ValueHandler* const left = std::exchange(announced, now);
        now = announce(word, announced, member);
        if (anyRetired.load(std::memory_order_seq_cst)) endRetired(left);
    }
    return announced;
}

void endRetired(const ValueHandler* left) {
    Retired* ended = nullptr;
    {
        const std::lock_guard lock(mutex);
        ended = takeEnded(left);
    }
    end(ended);
}

void replace(std::shared_ptr<ValueHandler>& member, std::shared_ptr<ValueHandler> handler) {
    auto& words = reinterpret_cast<Words&>(member);
    Retired* ended = nullptr;
    {
        const std::lock_guard lock(mutex);
        if (words.handler == nullptr) {
            exchange(words, handler);
            return;
        }
        auto* const old = new Retired{std::move(handler), retired};
        exchange(words, old->handler);
        retired = old;
        anyRetired.store(true, std::memory_order_seq_cst);
        // If the barrier fails all of a sudden, nobody can tell whether the old one is called: it is kept.
        if (hasBarrier && !barrier(MEMBARRIER_CMD_PRIVATE_EXPEDITED)) {
            retired = old->next;
            old->next = std::exchange(kept, old);
            anyRetired.store(retired != nullptr, std::memory_order_seq_cst);
        } else {
            ended = takeEnded(old->handler.get());
        }
    }
    end(ended);
}

}  // namespace handlers
