// tests/planted/none.cpp: nothing; the planted libraries that only link differently.
