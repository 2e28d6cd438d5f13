/* The protocol of service/TaskQueue.cpp: callers, the worker, start and stop, under the service lock
 * and the tasks' own locks. scripts/check-queue-model.sh checks it, also with one mend taken out at a
 * time (the -D names below), to see that the model would have found the fault.
 *
 *   SPURIOUS           the worker's wait may end without a signal (at most once)
 *   UNDERFLOW_STOPS    ... and somebody calls stop() afterwards, as embedders do in the end
 *   EARLY_WAKE_CALLER  a caller's wait may end without a signal
 *   WAIT_ONCE          a caller waits once instead of while its task is pending
 *   PUT_AFTER_TOKEN    put() does not look at the stopping flag
 *   NO_SWEEP           stop() does not release what is queued once the worker has ended
 *   START_DURING_STOP  start() does not wait for a stop that is under way
 *   SIGNAL_UNLOCKED    the worker signals a task's completion after it let go of the task's lock
 */

#ifndef CALLERS
#define CALLERS 3
#endif
#ifndef CALLS
#define CALLS 1
#endif
#ifndef STOPS
#define STOPS 1
#endif
#ifndef CONTROLS
#define CONTROLS 2
#endif
#define MAX_WAITING 2
#define SLOTS 3
#define NONE 255
#define OK 0
#define CANCELLED 1
#define BUSY 99
#define DONE 10

/* What happens under a lock is one atomic step: all that look at it take the same lock. */

/* The service's state. */
short count = 0;
byte queue[SLOTS] = NONE;
bool worker = false;        /* mGPUThread != 0 */
bool stopping = false;
byte workersAlive = 0;      /* threads that have not ended */
bool woken = false;         /* a signal has reached the waiting worker */
bool workerWaits = false;
bool spuriousLeft = true;

/* One record for each caller. */
bool pending[CALLERS] = true;
bool awake[CALLERS] = false;        /* a signal has reached the waiting caller */
bool callerWaits[CALLERS] = false;
bool inUse[CALLERS] = false;        /* the caller may not reuse or free the record */
byte result[CALLERS] = 0;

/* What is promised. */
bool cancelledTask[CALLERS] = false;
byte ranTask[CALLERS] = 0;
byte callersLeft = CALLERS;
byte controlsLeft = CONTROLS;
bool underflow = false;

chan begin = [1] of { bit };        /* pthread_create */

inline signalWorker() {
    if
    :: workerWaits -> woken = true
    :: else                         /* nobody waits: the signal is lost */
    fi
}

/* GPUTask::Complete, under the task's lock. */
inline complete(t, value) {
    result[t] = value;
    if
    :: pending[t] ->
        pending[t] = false;
        if
        :: callerWaits[t] -> awake[t] = true
        :: else
        fi
    :: else
    fi
}

inline cancelAll() {
    i = 0;
    do
    :: i < SLOTS ->
        if
        :: queue[i] != NONE ->
            assert(ranTask[queue[i]] == 0);
            cancelledTask[queue[i]] = true;
            complete(queue[i], CANCELLED);
            queue[i] = NONE
        :: else
        fi;
        i++
    :: else -> break
    od;
    i = 0;
    count = 0
}

proctype Caller(byte me) {
    byte calls = 0;
    byte outcome;
    do
    :: calls < CALLS ->
        calls++;
        atomic {                                        /* put */
            cancelledTask[me] = false;
            ranTask[me] = 0;
            inUse[me] = true;
            if
#ifndef PUT_AFTER_TOKEN
            :: stopping -> outcome = CANCELLED
            :: !stopping && count >= MAX_WAITING -> outcome = BUSY
            :: !stopping && count < MAX_WAITING ->
#else
            :: count >= MAX_WAITING -> outcome = BUSY
            :: count < MAX_WAITING ->
#endif
                if
                :: count < 0 -> count = 0
                :: else
                fi;
                assert(queue[count] == NONE);
                queue[count] = me;
                count++;
                if
                :: count == 1 -> signalWorker()
                :: else
                fi;
                outcome = OK
            fi
        };
        if
        :: outcome == OK ->
            atomic {                                    /* Await: takes the task's lock */
                if
                :: pending[me] -> callerWaits[me] = true
                :: else
                fi
            };
again:
            atomic {
                if
                :: !callerWaits[me]
                :: callerWaits[me] && awake[me]
#ifdef EARLY_WAKE_CALLER
                :: callerWaits[me] && !awake[me]
#endif
                fi;
#ifndef WAIT_ONCE
                if
                :: pending[me] -> awake[me] = false; goto again
                :: else
                fi;
#endif
                callerWaits[me] = false;
                awake[me] = false;
                /* Every call ends with its own result. */
                assert(!pending[me]);
                assert(result[me] == DONE || result[me] == CANCELLED);
                assert((result[me] == DONE) == (ranTask[me] == 1));
                assert((result[me] == CANCELLED) == cancelledTask[me]);
                pending[me] = true;
                result[me] = 0;
                inUse[me] = false
            }
        :: else -> inUse[me] = false
        fi
    :: else -> break
    od;
    callersLeft--
}

proctype Worker() {
    byte task;
    byte i;
    short left;
    bool last;
end:
    do
    :: atomic {
        begin?1;
        /* There is never more than one. */
        assert(workersAlive == 0);
        workersAlive++
       };
       last = false;
       do
       :: !last ->
        atomic {                                        /* get: takes the service lock */
            if
            :: count == 0 -> workerWaits = true
            :: else
            fi
        };
idle:
        atomic {
            if
            :: !workerWaits
            :: workerWaits && woken
#ifdef SPURIOUS
            :: workerWaits && !woken && spuriousLeft -> spuriousLeft = false
#endif
            fi;
            workerWaits = false;
            woken = false;
            count--;
            left = count;
            if
            :: stopping -> cancelAll(); last = true
            :: !stopping && left < 0 -> underflow = true; last = true
            :: !stopping && left >= 0 ->
                task = queue[0];
                assert(task != NONE);
                queue[0] = queue[1];
                queue[1] = queue[2];
                queue[left] = NONE
            fi
        };
        if
        :: !last ->
            atomic {                                    /* the handler */
                assert(!cancelledTask[task]);
                assert(ranTask[task] == 0);
                ranTask[task]++
            };
#ifndef SIGNAL_UNLOCKED
            atomic { complete(task, DONE) }
#else
            atomic { result[task] = DONE; last = pending[task]; pending[task] = false };
            atomic {
                /* The record may be with another call, or freed, by now. */
                assert(!last || inUse[task]);
                if
                :: last && callerWaits[task] -> awake[task] = true
                :: else
                fi;
                last = false
            }
#endif
        :: else
        fi
       :: else -> break
       od;
       task = NONE;
       /* tear-down of the GPU, then the end of the thread */
       workersAlive--
    od
}

inline start() {
    atomic {
#ifndef START_DURING_STOP
        !stopping;
#endif
        if
        :: !worker -> worker = true; begin!1
        :: else
        fi;
        /* Whoever has started has a worker. */
        assert(worker && !stopping)
    }
}

inline stop() {
    atomic {
        if
        :: stopping -> mine = false
        :: !stopping && !worker -> mine = false
        :: !stopping && worker ->
            mine = true;
            stopping = true;
            count++;                                        /* the token */
            if
            :: count == 1 -> signalWorker()
            :: else
            fi
        fi
    };
    if
    :: mine ->
        atomic { empty(begin) && workersAlive == 0 };       /* pthread_join */
        atomic {
#ifndef NO_SWEEP
            cancelAll();
#endif
            /* A stop leaves no task behind. */
            assert(queue[0] == NONE && queue[1] == NONE && queue[2] == NONE);
            worker = false;
            stopping = false
        }
    :: else -> !stopping
    fi
}

/* An embedder's thread: stops and starts, and goes on until no caller is left. */
proctype Control() {
    byte i;
    byte stops = 0;
    bool mine;
    start();
    do
    :: stops < STOPS ->
        stops++;
        stop();
        start()
#ifdef UNDERFLOW_STOPS
    :: underflow ->
        underflow = false;
        stop();
        start()
#endif
    :: callersLeft == 0 -> break
    od;
    stop();
    controlsLeft--
}

init {
    byte n = 0;
    atomic {
        run Worker();
        do
        :: n < CALLERS -> run Caller(n); n++
        :: else -> break
        od;
        n = 0;
        do
        :: n < CONTROLS -> run Control(); n++
        :: else -> break
        od
    };
    controlsLeft == 0;
    assert(!worker && !stopping && empty(begin) && workersAlive == 0 && callersLeft == 0)
}
