// Leaks, so that a test can see that the sanitizer finds it.
#include <cstdio>
#include <cstdlib>

int main() {
    char* volatile block = static_cast<char*>(std::malloc(100));
    if (block != nullptr) block[0] = 'a';
    block = nullptr;
    std::puts("leaked");
}
