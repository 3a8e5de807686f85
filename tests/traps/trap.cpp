#include "Vorn/Vorn.h"

void trap(String text, String other, std::string standard, int number, Vorn::Ptr<int> handle) {
    TRAP;
}
