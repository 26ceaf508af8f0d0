// Carries the precompiled headers of the test programs; see WebsecTest.cmake.
int main() {}
