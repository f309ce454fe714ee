#include "engine/workers.h"

#include <xmmintrin.h>

#include <atomic>
#include <cstdlib>

#ifdef _WIN32
#include <windows.h>
#else
#include <pthread.h>
#include <sched.h>
#include <csignal>
#endif

namespace keying {
namespace {

// A worker with fewer pixels costs more than it saves: starting a thread takes as long as keying some
// thousands.
constexpr std::int64_t kPixelsPerWorker = 1 << 16;

// ---- The platform's threads ------------------------------------------------------------------------------
// Those of the standard library allocate on one thread what another one frees, by operators that a program
// may replace.

#ifdef _WIN32

using Thread = HANDLE;
using Mutex = SRWLOCK;
using Condition = CONDITION_VARIABLE;

void Prepare(Mutex* mutex, Condition* condition, Condition* other) {
    InitializeSRWLock(mutex);
    InitializeConditionVariable(condition);
    InitializeConditionVariable(other);
}
void Discard(Mutex*, Condition*, Condition*) {}
void Lock(Mutex* mutex) {
    AcquireSRWLockExclusive(mutex);
}
void Unlock(Mutex* mutex) {
    ReleaseSRWLockExclusive(mutex);
}
void Wait(Condition* condition, Mutex* mutex) {
    SleepConditionVariableSRW(condition, mutex, INFINITE, 0);
}
void WakeAll(Condition* condition) {
    WakeAllConditionVariable(condition);
}

template <void (*run)(void*)>
DWORD WINAPI ThreadMain(void* context) {
    run(context);
    return 0;
}
template <void (*run)(void*)>
bool Start(Thread* thread, void* context) {
    *thread = CreateThread(nullptr, 0, ThreadMain<run>, context, 0, nullptr);
    return *thread != nullptr;
}
void Join(Thread thread) {
    WaitForSingleObject(thread, INFINITE);
    CloseHandle(thread);
}

std::int32_t Processors() {
    DWORD_PTR own = 0, all = 0;
    if (!GetProcessAffinityMask(GetCurrentProcess(), &own, &all)) return 1;
    std::int32_t count = 0;
    for (; own != 0; own &= own - 1) ++count;
    return count;
}

#else

using Thread = pthread_t;
using Mutex = pthread_mutex_t;
using Condition = pthread_cond_t;

void Prepare(Mutex* mutex, Condition* condition, Condition* other) {
    pthread_mutex_init(mutex, nullptr);
    pthread_cond_init(condition, nullptr);
    pthread_cond_init(other, nullptr);
}
void Discard(Mutex* mutex, Condition* condition, Condition* other) {
    pthread_mutex_destroy(mutex);
    pthread_cond_destroy(condition);
    pthread_cond_destroy(other);
}
void Lock(Mutex* mutex) {
    pthread_mutex_lock(mutex);
}
void Unlock(Mutex* mutex) {
    pthread_mutex_unlock(mutex);
}
void Wait(Condition* condition, Mutex* mutex) {
    pthread_cond_wait(condition, mutex);
}
void WakeAll(Condition* condition) {
    pthread_cond_broadcast(condition);
}

template <void (*run)(void*)>
void* ThreadMain(void* context) {
    run(context);
    return nullptr;
}
// The program's signals stay with its own threads.
template <void (*run)(void*)>
bool Start(Thread* thread, void* context) {
    sigset_t all, before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    const bool started = pthread_create(thread, nullptr, ThreadMain<run>, context) == 0;
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return started;
}
void Join(Thread thread) {
    pthread_join(thread, nullptr);
}

std::int32_t Processors() {
    cpu_set_t own;
    return sched_getaffinity(0, sizeof own, &own) == 0 ? CPU_COUNT(&own) : 1;
}

#endif

// A job of all workers.
struct Bands {
    std::int64_t total, band;
    Workers::Work work;
    const void* context;
    std::atomic<std::int64_t> next{0};
};

void TakeBands(Bands* bands, std::int32_t worker) {
    for (std::int64_t first; (first = bands->next.fetch_add(bands->band)) < bands->total;) {
        const std::int64_t end = first + bands->band;
        bands->work(bands->context, worker, first, end < bands->total ? end : bands->total);
    }
}

struct Member {
    Team* team;
    std::int32_t worker;
    Thread thread;
};

void WorkUntilTheEnd(void* member);

}  // namespace

struct Team {
    unsigned environment;  // of the floating-point arithmetic: how the caller rounds
    Mutex mutex;           // guards all that follows
    Condition jobIsThere;  // for the threads
    Condition jobIsDone;   // for the caller
    Bands* job;
    std::int64_t jobs;     // started so far
    std::int32_t working;  // threads that have not finished the last one
    bool ends;
    Member members[kMostWorkers - 1];
};

namespace {

void WorkUntilTheEnd(void* context) {
    const Member& member = *static_cast<const Member*>(context);
    Team& team = *member.team;
    _mm_setcsr(team.environment);  // threads inherit it on Linux, not on Windows
    Lock(&team.mutex);
    for (std::int64_t done = 0;; ++done) {
        while (team.jobs == done && !team.ends) Wait(&team.jobIsThere, &team.mutex);
        if (team.ends) break;
        Bands* const job = team.job;
        Unlock(&team.mutex);
        TakeBands(job, member.worker);
        Lock(&team.mutex);
        if (--team.working == 0) WakeAll(&team.jobIsDone);
    }
    Unlock(&team.mutex);
}

}  // namespace

std::int32_t WorkerCount(std::int32_t wanted, std::int64_t pixels) {
    std::int64_t count = wanted;
    if (wanted <= 0) {
        const std::int64_t processors = Processors(), worth = pixels / kPixelsPerWorker;
        count = processors < worth ? processors : worth;
    }
    return count < 1 ? 1 : count > kMostWorkers ? kMostWorkers : static_cast<std::int32_t>(count);
}

Workers::Workers(std::int32_t count) : team_(nullptr), count_(1) {
    if (count > 1) team_ = static_cast<Team*>(std::calloc(1, sizeof(Team)));
    if (team_ == nullptr) return;
    team_->environment = _mm_getcsr();
    Prepare(&team_->mutex, &team_->jobIsThere, &team_->jobIsDone);
    for (; count_ < count && count_ < kMostWorkers; ++count_) {
        Member& member = team_->members[count_ - 1];
        member.team = team_;
        member.worker = count_;
        if (!Start<WorkUntilTheEnd>(&member.thread, &member)) break;
    }
}

Workers::~Workers() {
    if (team_ == nullptr) return;
    Lock(&team_->mutex);
    team_->ends = true;
    WakeAll(&team_->jobIsThere);
    Unlock(&team_->mutex);
    for (std::int32_t i = 0; i < count_ - 1; ++i) Join(team_->members[i].thread);
    Discard(&team_->mutex, &team_->jobIsThere, &team_->jobIsDone);
    std::free(team_);
}

std::int32_t Workers::Count() const {
    return count_;
}

void Workers::RunBands(std::int64_t total, std::int64_t band, Work work, const void* context) {
    Bands bands{total, band, work, context};
    if (count_ == 1) {
        TakeBands(&bands, 0);
        return;
    }
    Lock(&team_->mutex);
    team_->job = &bands;
    team_->working = count_ - 1;
    ++team_->jobs;
    WakeAll(&team_->jobIsThere);
    Unlock(&team_->mutex);
    TakeBands(&bands, 0);
    Lock(&team_->mutex);
    while (team_->working != 0) Wait(&team_->jobIsDone, &team_->mutex);
    Unlock(&team_->mutex);
}

}  // namespace keying
