#include "QrxVersion.h"

unsigned int QrxGetVersion()
{
    return QRX_VERSION;
}
