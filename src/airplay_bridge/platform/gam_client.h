// The client of the set's command bus (GAM), as the service calls it: a closed library.
//
// Declarations only; see csp_osal.h for who defines them.
//
// A process is one client. Calls may come from any thread, also at once, also from within a
// callback. Callbacks run on a thread of the library's own, one at a time, in the order in which
// the messages were sent; a callback may block, and then the next message waits and is not lost.
#pragma once

#include <cstddef>
#include <cstdint>

extern "C" {

// One message. Strings end with NUL, may be null, may hold any other byte, and belong to the caller
// for the duration of a call only. The names are those of the receiving side; a sender puts the
// destination's name into |ack| and leaves |dest| null.
struct GAM_Message {
  const char* src;
  const char* ack;
  const char* dest;
  const char* cmd;
  const char* para;
};

// |type| is 0 for a command; other types are the bus's own notices. The result goes back to the
// bus, which makes no use of it here.
using GAM_Callback = int (*)(int type, const GAM_Message* message);

struct GAM_Callbacks {
  GAM_Callback onSync;   // for messages whose sender waits for the callback's end
  GAM_Callback onAsync;  // for all others
};

// The set's input event, passed through from the application manager to the input path.
struct GAM_KeyEvent {
  std::uint8_t head[24];
  std::int32_t code;  // key code, as in the Linux input event codes
  std::uint8_t tail[48];
};

// Registers this process under |name|. From then on messages for that name arrive through
// |callbacks|, which are copied. Negative: not registered, sends will fail.
int GAM_ClientInit(const GAM_Callbacks* callbacks, const char* name);

// Hands |message| to the bus. Negative: nobody got it (no client, no bus, nobody of that name).
int GAM_SendCmd(const GAM_Message* message);

// Puts a key into the set's input path as if pressed on the remote control. |size| is the record's
// size in bytes. Negative: not injected.
int GAM_InjectInputEvent(const GAM_KeyEvent* event, int size);

// Leaves the bus; no callback runs when it returns. The result is not examined.
int GAM_ClientUninit();

}  // extern "C"

static_assert(sizeof(GAM_KeyEvent) == 76, "the set's input event has 76 bytes");
static_assert(offsetof(GAM_KeyEvent, code) == 24, "its key code stands at byte 24");
