#include "VCollectable"

namespace mis {

template class VCollectable<unsigned int>;

} // namespace mis
