// Stand-in for the multicast DNS responder, where the real one cannot run: it is there, and no
// more.
#include <unistd.h>

int main() {
  for (;;) {
    pause();
  }
}
