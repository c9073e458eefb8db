// An inline function that stays one: a weak symbol in a section that the linker may share.
inline int shared_function(int x)
{
    volatile int y = x;
    return y;
}
int (*takes_its_address())(int);
int (*takes_its_address())(int) { return shared_function; }
