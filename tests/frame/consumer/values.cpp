// Names a usage with the library of values.
#include <QrxUsageNames.h>

#include <cstdio>

int main()
{
    std::puts(QrxGetUsageName(1, 2).c_str());
}
