#include <iostream>

#include "Vorn/Vorn.h"

int main() {
    Vorn::Settings settings;
    settings.set("Video", "Width", 3840);
    std::cout << settings.text();
}
