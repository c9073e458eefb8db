// What -init and -fini put into the dynamic section.
extern "C" void init_function();
extern "C" void init_function() {}
