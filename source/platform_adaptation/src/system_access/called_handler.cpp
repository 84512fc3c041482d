#include "called_handler.h"

#include <linux/membarrier.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <mutex>
#include <utility>

namespace handlers {

std::atomic<bool> anyRetired{false};

namespace {

constinit CallWord neverFree{1};

// Known before the first word is made.
bool hasBarrier = false;
thread_local CallWord* wordsOfThread = nullptr;

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

// Gives a thread's words to those that come after it; not those of calls that never end, as their handler
// ended the program.
struct Return {
    ~Return() {
        const std::lock_guard lock(mutex);
        firstWord = &neverFree;
        while (CallWord* const word = wordsOfThread) {
            wordsOfThread = word->nextOfThread;
            if (word->handler.load(std::memory_order_relaxed) != 0) continue;
            word->nextOfThread = wordsOfEndedThreads;
            wordsOfEndedThreads = word;
        }
    }
};

std::uintptr_t addressOf(const ValueHandler* handler) { return reinterpret_cast<std::uintptr_t>(handler); }

bool isCalled(const ValueHandler* handler) {
    for (const CallWord* word = allWords; word != nullptr; word = word->nextOfAll)
        if (word->handler.load(std::memory_order_seq_cst) == addressOf(handler)) return true;
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

CallWord& makeWord() {
    static thread_local Return whenTheThreadEnds;
    static_cast<void>(whenTheThreadEnds);
    const std::lock_guard lock(mutex);
    if (allWords == nullptr) hasBarrier = barrier(MEMBARRIER_CMD_REGISTER_PRIVATE_EXPEDITED);
    CallWord* word = wordsOfEndedThreads;
    if (word != nullptr) {
        wordsOfEndedThreads = word->nextOfThread;
    } else {
        word = new Call;
        word->nextOfAll = std::exchange(allWords, word);
    }
    if (wordsOfThread == nullptr && hasBarrier) firstWord = word;
    word->nextOfThread = std::exchange(wordsOfThread, word);
    return *word;
}

CallWord& freeWord() {
    for (CallWord* word = wordsOfThread; word != nullptr; word = word->nextOfThread)
        if (word->handler.load(std::memory_order_relaxed) == 0) return *word;
    return makeWord();
}

// Says in a call's word which handler the call has.
void set(CallWord& word, const ValueHandler* handler) {
    if (hasBarrier) {
        word.handler.store(addressOf(handler), std::memory_order_release);
        std::atomic_signal_fence(std::memory_order_seq_cst);
    } else {
        word.handler.store(addressOf(handler), std::memory_order_seq_cst);
    }
}

// Announces the handler that the member has, instead of the `announced` one, if any, until the member still
// has it afterwards. Ends those that it leaves: a replacement may have taken the call for one of theirs. Null
// as soon as the member has none; the word is free then, and what ends may use it.
ValueHandler* announce(CallWord& word, ValueHandler* announced, const std::shared_ptr<ValueHandler>& member) {
    for (;;) {
        ValueHandler* const now = current(member, std::memory_order_seq_cst);
        if (now == announced) return announced;
        const ValueHandler* const left = std::exchange(announced, now);
        set(word, announced);
        if (left != nullptr && anyRetired.load(std::memory_order_seq_cst)) endRetired(left);
        if (announced == nullptr) return nullptr;
    }
}

void callIn(CallWord& word, ValueHandler* announced, const std::shared_ptr<ValueHandler>& member,
            const ValueObject& value) {
    struct Called {
        ~Called() {
            if (handler == nullptr) return;
            set(word, nullptr);
            if (anyRetired.load(std::memory_order_seq_cst)) endRetired(handler);
        }
        CallWord& word;
        ValueHandler* handler;
    };
    const Called called{word, announce(word, announced, member)};
    if (called.handler != nullptr) called.handler->onNewValue(value);
}

}  // namespace

constinit thread_local CallWord* firstWord = &neverFree;

void endRetired(const ValueHandler* left) {
    Retired* ended = nullptr;
    {
        const std::lock_guard lock(mutex);
        ended = takeEnded(left);
    }
    end(ended);
}

void call(const std::shared_ptr<ValueHandler>& member, const ValueObject& value) {
    ValueHandler* const handler = current(member, std::memory_order_relaxed);
    if (handler == nullptr) return;
    if (!FirstCall::isPossible()) [[unlikely]]
        return callIn(freeWord(), nullptr, member, value);
    const FirstCall first(handler);
    if (first.mayCall(member)) [[likely]]
        handler->onNewValue(value);
    else
        callAnother(member, handler, value);
}

void callAnother(const std::shared_ptr<ValueHandler>& member, ValueHandler* announced,
                 const ValueObject& value) {
    callIn(*firstWord, announced, member, value);
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
