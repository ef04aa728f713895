// memory.h: blocks that are to grow. They have room behind the bytes that count, zero-filled, so that not every step
// copies them. Used by stream/ for what it writes to memory.
#ifndef TOLVA_HOST_MEMORY_H
#define TOLVA_HOST_MEMORY_H

#include "host/handle.h"

namespace tolva {

// GlobalAlloc with `room` bytes more behind `size`; 0 where they cannot be had.
Handle allocWithRoom(uint32_t flags, uint32_t size, uint32_t room);
// Moves the end into the room: `size` bytes count from now on.
void growIntoRoom(Handle h, uint32_t size);
// Gives the room back to the system. The handle nearly always stays, but the system may move the block to another.
Handle giveRoomBack(Handle h);

// A seam: the owners of growing blocks stand above. Null while there are none.
struct RoomOwners {
    void (*giveBack)();            // when no memory can be had, and when a host's call ends
    void (*forget)(Handle freed);  // a block that a host frees, be it with room or what its owner is told by
};
extern const RoomOwners* roomOwners;

}  // namespace tolva

#endif
