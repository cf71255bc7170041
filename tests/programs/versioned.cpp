// A program that carries a version resource and does nothing else: the file
// searches read its version.
int main() { return 0; }
