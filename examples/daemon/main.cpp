#include "Thermostats.h"
#include <iostream>
int main()
{
    const Thermostats thermostats([](const std::string& line) { std::cout << line << std::endl; },
                                  std::chrono::seconds(1));
    QrxRunLoop::getCurrent().runUntilSignal(); // Ctrl-C, or SIGTERM
}
