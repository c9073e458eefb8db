// A second word in the initialiser array.
namespace {
volatile int loaded;
[[gnu::constructor]] void second_constructor() { loaded = 1; }
} // namespace
