// A function of libc that no kernel calls.
#include <unistd.h>

int extra_import();
int extra_import() { return getpid(); }
