// Tells the thread sanitizer which thread waits for which inside Qt and gRPC. Both libraries are not instrumented, so
// that their futexes, event queues and completion queues are invisible to it and correct code would look like a race. These
// functions replace those that our code and libgrpc++ call, call the original, and report the order that it
// guarantees: release() by the first thread, acquire() with the same address by the second one. Linked into every program of
// the build with -fsanitize=thread, and not instrumented.
#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QEvent>
#include <QFutureInterfaceBase>
#include <QRunnable>
#include <QThread>
#include <QThreadPool>
#include <QThreadStorage>
#include <atomic>
#include <dlfcn.h>
#include <functional>
#include <grpc/grpc.h>
#include <link.h>
#include <map>
#include <sanitizer/tsan_interface.h>
#include <thread>
#include <utility>

namespace {

void acquire(const void *address)
{
    __tsan_acquire(const_cast<void *>(address));
}
void release(const void *address)
{
    __tsan_release(const_cast<void *>(address));
}

} // namespace

// Declares the replacement of the function with that symbol; next_NAME() is the original. A pointer to a member function has
// an even address.
#define SHIM(RESULT, NAME, SYMBOL, ...)                                                                                \
    RESULT NAME(__VA_ARGS__) __asm__(SYMBOL);                                                                          \
    static auto next_##NAME()                                                                                          \
    {                                                                                                                  \
        static const auto next = reinterpret_cast<RESULT (*)(__VA_ARGS__)>(dlsym(RTLD_NEXT, SYMBOL));                  \
        return next;                                                                                                   \
    }                                                                                                                  \
    __attribute__((visibility("default"), aligned(16))) RESULT NAME(__VA_ARGS__)

// A function that takes, and one that returns whether it took
#define LOCKS(NAME, SYMBOL)                                                                                            \
    SHIM(void, NAME, SYMBOL, void *lock)                                                                               \
    {                                                                                                                  \
        next_##NAME()(lock);                                                                                           \
        acquire(lock);                                                                                                 \
    }
#define UNLOCKS(NAME, SYMBOL)                                                                                          \
    SHIM(void, NAME, SYMBOL, void *lock)                                                                               \
    {                                                                                                                  \
        release(lock);                                                                                                 \
        next_##NAME()(lock);                                                                                           \
    }
#define TRIES(NAME, SYMBOL)                                                                                            \
    SHIM(bool, NAME, SYMBOL, void *lock)                                                                               \
    {                                                                                                                  \
        const bool taken = next_##NAME()(lock);                                                                        \
        if (taken)                                                                                                     \
            acquire(lock);                                                                                             \
        return taken;                                                                                                  \
    }
#define TRIES_FOR(NAME, SYMBOL)                                                                                        \
    SHIM(bool, NAME, SYMBOL, void *lock, int number)                                                                   \
    {                                                                                                                  \
        const bool taken = next_##NAME()(lock, number);                                                                \
        if (taken)                                                                                                     \
            acquire(lock);                                                                                             \
        return taken;                                                                                                  \
    }

// Locks
LOCKS(mutexLock, "_ZN6QMutex4lockEv")
UNLOCKS(mutexUnlock, "_ZN6QMutex6unlockEv")
LOCKS(lockForRead, "_ZN14QReadWriteLock11lockForReadEv")
TRIES(tryLockForRead, "_ZN14QReadWriteLock14tryLockForReadEv")
LOCKS(lockForWrite, "_ZN14QReadWriteLock12lockForWriteEv")
UNLOCKS(unlockReadWrite, "_ZN14QReadWriteLock6unlockEv")
TRIES_FOR(semaphoreTry, "_ZN10QSemaphore10tryAcquireEi")
SHIM(void, semaphoreAcquire, "_ZN10QSemaphore7acquireEi", void *semaphore, int number)
{
    next_semaphoreAcquire()(semaphore, number);
    acquire(semaphore);
}
SHIM(bool, semaphoreTryFor, "_ZN10QSemaphore10tryAcquireEii", void *semaphore, int number, int timeoutMs)
{
    const bool taken = next_semaphoreTryFor()(semaphore, number, timeoutMs);
    if (taken)
        acquire(semaphore);
    return taken;
}
SHIM(void, semaphoreRelease, "_ZN10QSemaphore7releaseEi", void *semaphore, int number)
{
    release(semaphore);
    next_semaphoreRelease()(semaphore, number);
}

SHIM(bool, waitForWake, "_ZN14QWaitCondition4waitEP6QMutex14QDeadlineTimer", void *condition, void *mutex,
     QDeadlineTimer deadline)
{
    release(mutex);
    const bool woken = next_waitForWake()(condition, mutex, deadline);
    acquire(mutex);
    return woken;
}

// Signals: from the emission to the slot, by the sender's address; functions that are invoked in another thread and the
// result of blocking ones, by the address of their wrapper.
namespace {

class OrderedSlot final : public QtPrivate::QSlotObjectBase
{
public:
    OrderedSlot(QtPrivate::QSlotObjectBase *slot, const void *sender)
        : QSlotObjectBase(&OrderedSlot::run)
        , m_slot(slot)
        , m_sender(sender ? sender : this)
    {
        release(this);
    }

private:
    static void run(int which, QSlotObjectBase *base, QObject *receiver, void **arguments, bool *isEqual)
    {
        auto *self = static_cast<OrderedSlot *>(base);
        if (which == Call) {
            acquire(self->m_sender);
            self->m_slot->call(receiver, arguments);
            release(self);
        } else if (which == Compare) {
            *isEqual = self->m_slot->compare(arguments);
        } else {
            acquire(self);
            self->m_slot->destroyIfLastRef();
            delete self;
        }
    }

    QtPrivate::QSlotObjectBase *const m_slot;
    const void *const m_sender;
};

} // namespace

SHIM(void, activate, "_ZN11QMetaObject8activateEP7QObjectPKS_iPPv", QObject *sender, const QMetaObject *meta,
     int signal, void **arguments)
{
    release(sender);
    next_activate()(sender, meta, signal, arguments);
}
SHIM(QMetaObject::Connection, connectSlot,
     "_ZN7QObject11connectImplEPKS_PPvS1_S3_PN9QtPrivate15QSlotObjectBaseEN2Qt14ConnectionTypeEPKiPK11QMetaObject",
     const QObject *sender, void **signal, const QObject *receiver, void **slot, QtPrivate::QSlotObjectBase *object,
     Qt::ConnectionType type, const int *types, const QMetaObject *meta)
{
    return next_connectSlot()(sender, signal, receiver, slot, new OrderedSlot(object, sender), type, types, meta);
}
SHIM(bool, invokeMethod,
     "_ZN11QMetaObject16invokeMethodImplEP7QObjectPN9QtPrivate15QSlotObjectBaseEN2Qt14ConnectionTypeEPv",
     QObject *receiver, QtPrivate::QSlotObjectBase *slot, Qt::ConnectionType type, void *result)
{
    auto *ordered = new OrderedSlot(slot, nullptr);
    ordered->ref();
    release(ordered);
    const bool invoked = next_invokeMethod()(receiver, ordered, type, result);
    if (type == Qt::BlockingQueuedConnection)
        acquire(ordered);
    ordered->destroyIfLastRef();
    return invoked;
}

// Events: from the poster to the receiver, by the event's address or, where Qt makes the event, the receiver's.
SHIM(void, postEvent, "_ZN16QCoreApplication9postEventEP7QObjectP6QEventi", QObject *receiver, QEvent *event,
     int priority)
{
    release(event);
    next_postEvent()(receiver, event, priority);
}
UNLOCKS(deleteLater, "_ZN7QObject11deleteLaterEv")

static bool delivered(void **data)
{
    acquire(data[0]); // the receiver
    acquire(data[1]); // the event
    return false;
}
static const bool s_watchesDelivery = QInternal::registerCallback(QInternal::EventNotifyCallback, delivered);

// Threads: from the end of run() to wait(), to the slots of finished(), of which the first connection releases, and to the
// destructor, which waits for the end of the emission. The start of a thread is visible.
namespace {

struct ThreadEnd
{
    ~ThreadEnd() { release(thread); }
    QThread *const thread;
};

} // namespace

SHIM(void, makeThread, "_ZN7QThreadC2EP7QObject", QThread *thread, QObject *parent)
{
    static auto *const ends = new QThreadStorage<ThreadEnd *>; // threads may outlive static objects
    next_makeThread()(thread, parent);
    QObject::connect(thread, &QThread::finished, [thread] { release(thread); });
    QObject::connect(thread, &QThread::started, [thread] { ends->setLocalData(new ThreadEnd{thread}); });
}
void makeThreadComplete(QThread *thread, QObject *parent) __asm__("_ZN7QThreadC1EP7QObject");
__attribute__((visibility("default"))) void makeThreadComplete(QThread *thread, QObject *parent)
{
    makeThread(thread, parent);
}
LOCKS(destroyThread, "_ZN7QThreadD2Ev")
LOCKS(destroyThreadComplete, "_ZN7QThreadD1Ev")
SHIM(bool, waitForThread, "_ZN7QThread4waitE14QDeadlineTimer", QThread *thread, QDeadlineTimer deadline)
{
    const bool ended = next_waitForThread()(thread, deadline);
    if (ended)
        acquire(thread);
    return ended;
}
SHIM(bool, waitForThreadMs, "_ZN7QThread4waitEm", QThread *thread, unsigned long ms)
{
    const bool ended = next_waitForThreadMs()(thread, ms);
    if (ended)
        acquire(thread);
    return ended;
}
SHIM(bool, isFinished, "_ZNK7QThread10isFinishedEv", const QThread *thread)
{
    const bool ended = next_isFinished()(thread);
    if (ended)
        acquire(thread);
    return ended;
}

// Pools: from start() to run(), and from its end to the return of waitForDone().
namespace {

class OrderedRun final : public QRunnable
{
public:
    OrderedRun(QThreadPool *pool, QRunnable *task)
        : m_pool(pool)
        , m_task(task)
    {
        release(this);
    }
    ~OrderedRun() override
    {
        if (m_task && m_task->autoDelete())
            delete m_task; // never run
    }
    Q_DISABLE_COPY(OrderedRun)
    void run() override
    {
        acquire(this);
        QRunnable *task = std::exchange(m_task, nullptr);
        const bool isOurs = task->autoDelete();
        task->run();
        if (isOurs)
            delete task;
        release(m_pool);
    }

private:
    QThreadPool *const m_pool;
    QRunnable *m_task;
};

} // namespace

SHIM(void, startTask, "_ZN11QThreadPool5startEP9QRunnablei", QThreadPool *pool, QRunnable *task, int priority)
{
    next_startTask()(pool, new OrderedRun(pool, task), priority);
}
SHIM(void, startFunction, "_ZN11QThreadPool5startESt8functionIFvvEEi", QThreadPool *pool,
     std::function<void()> function, int priority)
{
    static_cast<void>(next_startFunction); // it would call the original startTask()
    startTask(pool, QRunnable::create(std::move(function)), priority);
}
TRIES_FOR(waitForPool, "_ZN11QThreadPool11waitForDoneEi")
// From the end of the task to the destruction of its result, which the last of its futures destroys without the lock.
SHIM(bool, releaseResult, "_ZNK20QFutureInterfaceBase6derefTEv", const QFutureInterfaceBase *future)
{
    const void *const shared = future->mutex();
    release(shared);
    const bool isUsed = next_releaseResult()(future);
    acquire(shared);
    return isUsed;
}
LOCKS(destroyPool, "_ZN11QThreadPoolD1Ev")
LOCKS(destroyPoolBase, "_ZN11QThreadPoolD2Ev")

// gRPC: its locks; from the start of an operation to its completion, by its tag; from the start of a server to its calls, and
// from its callbacks to its destruction.
LOCKS(grpcLock, "_ZN4absl7debian35Mutex4LockEv")
TRIES(grpcTryLock, "_ZN4absl7debian35Mutex7TryLockEv")
UNLOCKS(grpcUnlock, "_ZN4absl7debian35Mutex6UnlockEv")
SHIM(void, grpcWait, "_ZN4absl7debian37CondVar4WaitEPNS0_5MutexE", void *condition, void *mutex)
{
    release(mutex);
    next_grpcWait()(condition, mutex);
    acquire(mutex);
}
SHIM(bool, grpcWaitUntil, "_ZN4absl7debian37CondVar16WaitWithDeadlineEPNS0_5MutexENS0_4TimeE", void *condition,
     void *mutex, qint64 seconds, quint32 ticks)
{
    release(mutex);
    const bool isLate = next_grpcWaitUntil()(condition, mutex, seconds, ticks);
    acquire(mutex);
    return isLate;
}

namespace {

std::atomic_flag functorsLock = ATOMIC_FLAG_INIT; // of a mutex the sanitizer would make an order between all callbacks
auto &functors = *new std::map<void *, void (*)(grpc_completion_queue_functor *, int)>; // used until the very end
char serversStarted;
char callbacksEnded;

void lockFunctors()
{
    while (functorsLock.test_and_set(std::memory_order_acquire))
        std::this_thread::yield();
}

bool isCode(const void *address)
{
    const auto contains = [](dl_phdr_info *object, size_t, void *wanted) {
        for (int i = 0; i < object->dlpi_phnum; ++i) {
            const ElfW(Phdr) &segment = object->dlpi_phdr[i];
            const ElfW(Addr) offset = *static_cast<ElfW(Addr) *>(wanted) - object->dlpi_addr - segment.p_vaddr;
            if (segment.p_type == PT_LOAD && (segment.p_flags & PF_X) != 0 && offset < segment.p_memsz)
                return 1;
        }
        return 0;
    };
    auto wanted = reinterpret_cast<ElfW(Addr)>(address);
    return dl_iterate_phdr(contains, &wanted) != 0;
}

void runFunctor(grpc_completion_queue_functor *functor, int ok)
{
    acquire(functor);
    lockFunctors();
    const auto run = functors[functor];
    functorsLock.clear(std::memory_order_release);
    run(functor, ok);
    release(&callbacksEnded);
}

/// A callback's tag begins with a function, those of completion queues with a pointer to virtual functions.
void watchTag(void *tag)
{
    auto *functor = static_cast<grpc_completion_queue_functor *>(tag);
    if (functor->functor_run == runFunctor || !isCode(reinterpret_cast<void *>(functor->functor_run)))
        return;
    lockFunctors();
    functors[tag] = std::exchange(functor->functor_run, runFunctor);
    functorsLock.clear(std::memory_order_release);
}

} // namespace

SHIM(grpc_call_error, startBatch, "grpc_call_start_batch", grpc_call *call, const grpc_op *operations, size_t number,
     void *tag, void *reserved)
{
    if (tag) {
        release(tag);
        watchTag(tag);
    }
    return next_startBatch()(call, operations, number, tag, reserved);
}
SHIM(grpc_event, nextEvent, "grpc_completion_queue_next", grpc_completion_queue *queue, gpr_timespec deadline,
     void *reserved)
{
    const grpc_event event = next_nextEvent()(queue, deadline, reserved);
    if (event.type == GRPC_OP_COMPLETE)
        acquire(event.tag);
    return event;
}
SHIM(grpc_event, pluckEvent, "grpc_completion_queue_pluck", grpc_completion_queue *queue, void *tag,
     gpr_timespec deadline, void *reserved)
{
    const grpc_event event = next_pluckEvent()(queue, tag, deadline, reserved);
    if (event.type == GRPC_OP_COMPLETE)
        acquire(event.tag);
    return event;
}
SHIM(void, startServer, "grpc_server_start", grpc_server *server)
{
    release(&serversStarted);
    next_startServer()(server);
}
SHIM(void, destroyServer, "grpc_server_destroy", grpc_server *server)
{
    next_destroyServer()(server);
    acquire(&callbacksEnded);
}
#define ARRIVES(NAME, SYMBOL)                                                                                          \
    SHIM(void, NAME, SYMBOL, grpc_completion_queue_functor *functor, int ok)                                           \
    {                                                                                                                  \
        acquire(&serversStarted);                                                                                      \
        next_##NAME()(functor, ok);                                                                                    \
        release(&callbacksEnded);                                                                                      \
    }
ARRIVES(callArrives, "_ZN4grpc6Server15CallbackRequestINS_21CallbackServerContextEE15CallbackCallTag"
                     "9StaticRunEP29grpc_completion_queue_functori")
ARRIVES(genericCallArrives, "_ZN4grpc6Server15CallbackRequestINS_28GenericCallbackServerContextEE15CallbackCallTag"
                            "9StaticRunEP29grpc_completion_queue_functori")
SHIM(void, releaseCall, "grpc_call_unref", grpc_call *call)
{
    release(&callbacksEnded);
    next_releaseCall()(call);
}
