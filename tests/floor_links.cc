// Linked with one floor at a time (cmake/floors.cmake); it is never run.
int main() {}
