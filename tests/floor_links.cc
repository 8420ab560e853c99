// Linked with one floor of the house at a time; nothing runs it.
int main() {}
