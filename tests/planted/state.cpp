// A word of state beside the entries.
extern int state;
int state = 7;
