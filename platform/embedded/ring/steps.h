// Places on the road of an event and of a buffer where a test can stop or kill the one who walks it. Only the library
// that tests link has them (VARNEL_RING_STEPS); elsewhere a step is nothing.
#pragma once

namespace varnel::embedded::ring {

enum class Step {
  kMarked,        // the writer's mark is set, nothing is reserved
  kReserved,      // the reservation word was moved
  kLengthStored,  // the event's first word is "reserved"
  kFilled,        // header and payload are there, nothing is committed
  kCommitted,     // committed, the mark still stands
  kClosed,        // the closed bit is set, the next buffer is not open
  kPreparing,     // a slot is claimed for the next buffer
  kOpened,        // the next buffer is published, its slot still reads "preparing"
  kSealed,        // the closed buffer is settled
  kWritten,       // its bytes are in the file, the place has not moved
  kPlaced,        // the place has moved, the slot is not free yet
};

#ifdef VARNEL_RING_STEPS
using StepHook = void (*)(Step step);
inline StepHook step_hook = nullptr;
inline void At(Step step) {
  if (step_hook != nullptr) step_hook(step);
}
#else
inline void At(Step) {}
#endif

}  // namespace varnel::embedded::ring
