// The set's logging library, as the service calls it: a closed library.
//
// Declarations only; see csp_osal.h for who defines them. Every operation may be called on any
// thread at any time after cspDebugInit(), and on the main thread before it.
#pragma once

extern "C" {

// Levels, most urgent first. A library set to a level lets that level and the more urgent ones
// through.
enum cspDebugLevel {
  CSP_DEBUG_ERROR = 1,    // a missing component, a failure
  CSP_DEBUG_INFO = 2,     // progress
  CSP_DEBUG_VERBOSE = 3,  // entry and exit of operations
};

// Sets the library up for this process. The service calls it once, on the main thread, after the
// environment is complete.
void cspDebugInit();

// Tells whether a line of |module| at |level| is wanted now: 0 = no, else yes. When it is, fills
// |frame| and |chunk| with what the library wants back with the line; both mean nothing to the
// caller, and are good for one line on the calling thread. Must be cheap: it stands before every
// line, wanted or not.
int cspDebugCheckLevelGetFrameAndChunk(const char* module, int level, void** frame, void** chunk);

// Writes one finished line, |text|, without a line feed at its end unless the text has one. The
// text is data: a "%" in it means nothing. |text| is the caller's again on return. The line has
// left the process on return, so that a sudden end loses none.
void cspDebugOutput0(void* frame, void* chunk, const char* text);

// The last component of a source file's path: a pointer into |path|, never null.
const char* blog_base_name(const char* path);

}  // extern "C"
