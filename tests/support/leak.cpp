// Leaks, so that a test can see that the sanitizer finds it.
#include <cstdlib>

int main() {
    void* volatile block = std::malloc(100);
    block = nullptr;
}
