#pragma once

#include <limits>

#include "include/basic_types.h"
#include "platform/win32.h"

// One thread's connection to a reader. A free record is all zero; a reserved one, which a thread is
// opening, has only its `context` set. `activeProtocol`, `lockCount` and `grabbed` of an open
// record belong to its own thread and need no lock; the rest changes under the table's mutex.
struct ReaderContext {
    static constexpr SCARDCONTEXT reserved = std::numeric_limits<SCARDCONTEXT>::max();

    u32 threadId;
    SCARDCONTEXT context;
    SCARDHANDLE card;
    DWORD activeProtocol;
    u32 lockCount;
    u32 grabbed;

    bool inUse();

    // Ends a reservation. The one change of a record in a table that needs no mutex.
    void release();

    // Note that the card's transaction is open, and that it has ended. To note either twice in a
    // row ends the process.
    void lockGrabbed();
    void lockReleased();
};

// The records of all threads of this process on one reader, as they lie in a named mapping. Callers
// hold the table's mutex.
struct ReaderContextTable {
    static constexpr u32 capacity = 64;

    u32 refCount;
    ReaderContext records[capacity];

    // The thread's record, or null. It stays at its place until it is closed.
    ReaderContext* find(u32 threadId);

    // The place of one of the records, from 0.
    u32 indexOf(const ReaderContext& record) const { return static_cast<u32>(&record - records); }

    // Reserves the lowest free record, which no other thread then takes; null if there is none.
    ReaderContext* reserve();
};

static_assert(sizeof(SCARDCONTEXT) != 4 || sizeof(SCARDHANDLE) != 4 ||
              sizeof(ReaderContextTable) == 1540);
