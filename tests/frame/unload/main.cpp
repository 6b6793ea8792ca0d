// usage: unload_test MODULE LIBRARY
// Loads the module, and the library with it, makes a manager the instance, and unloads both: the manager must end then,
// and the library must be gone.

#include <dlfcn.h>

#include <cstdio>

namespace {

int fail(const char* what, const char* more = "")
{
    std::fprintf(stderr, "unload_test: %s %s\n", what, more);
    return 1;
}

bool isLoaded(const char* library)
{
    void* const handle = dlopen(library, RTLD_NOW | RTLD_NOLOAD);
    if (handle != nullptr) {
        dlclose(handle);
    }
    return handle != nullptr;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 3) {
        return fail("expects a module and a library");
    }
    const char* const library = argv[2];
    // Twice: what is loaded again begins anew.
    for (int round = 0; round < 2; ++round) {
        void* const module = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
        if (module == nullptr) {
            return fail("the module cannot be loaded:", dlerror());
        }
        const auto useLibrary = reinterpret_cast<bool (*)(bool*)>(dlsym(module, "useLibrary"));
        bool ended = false;
        if (useLibrary == nullptr || !useLibrary(&ended)) {
            return fail("the manager is not the instance");
        }
        if (!isLoaded(library) || ended) {
            return fail("the library or the manager is gone too early");
        }
        dlclose(module);
        if (isLoaded(library)) {
            return fail("the library is still loaded");
        }
        if (!ended) {
            return fail("the manager has not ended");
        }
    }
    return 0;
}
