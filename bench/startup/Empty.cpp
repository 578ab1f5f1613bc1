// What every program pays.
int main() {}
