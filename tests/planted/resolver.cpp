// A function that is chosen by code at load time.
extern "C" {
int one();
int one() { return 1; }
using Chosen = int();
Chosen* choose();
Chosen* choose() { return one; }
[[gnu::ifunc("choose"), gnu::visibility("hidden")]] int chosen();
int calls_chosen();
int calls_chosen() { return chosen(); }
}
