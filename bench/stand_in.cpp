// Stands in for the daemon that a start becomes, and ends at once.
int main() {}
