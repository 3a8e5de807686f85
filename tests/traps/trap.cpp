#include "Vorn/Vorn.h"

void trap(String text, String other, int number, Vorn::Ptr<int> handle) {
    TRAP;
}
