#include "VCollectable"

namespace mis {

// The one copy of the code and of the type description in the process; headers declare the template `extern`, so that
// an application and a shared library agree on the type.
template class VCollectable<unsigned int>;

} // namespace mis
