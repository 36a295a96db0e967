// The set's OS abstraction layer, as the service calls it: a closed library.
//
// Declarations only. Exactly one library defines them in any program: the set's own on a
// television, the host platform on a desk, the in-memory platform in a test.
#pragma once

extern "C" {

// Prepares the layer for this process. The service calls it first of all, once, on the main thread,
// and hands over its command line, which it does not read itself. |argv| must stay valid for the
// life of the process. The result is not examined.
int cspOsalInitOnce(int argc, char** argv);

// Prepares the layer for the calling thread. The service calls it once, on the main thread, right
// after cspOsalInitOnce(). The result is not examined.
int cspOsalInitThread();

}  // extern "C"
