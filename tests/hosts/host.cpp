// tests/hosts/host.cpp: the C host's text, as C++.
#include "host.c" // NOLINT
