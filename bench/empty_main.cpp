// An empty program, compiled and linked as entgen is: what starting any
// program of ours costs before it does work of its own.
int main() { return 0; }
