/* Loads the libraries whose files are named, as most J2534 applications do. */
#include <dlfcn.h>
#include <passbridge/j2534.h>
#include <stdio.h>

int main(int argc, char** argv) {
  for (int i = 1; i < argc; ++i) {
    void* library = dlopen(argv[i], RTLD_NOW | RTLD_LOCAL);
    if (library == NULL || dlsym(library, "PassThruOpen") == NULL || dlclose(library) != 0) {
      fprintf(stderr, "%s: %s\n", argv[i], dlerror());
      return 1;
    }
    /* Unloaded means unloaded: nothing may keep the library in the process. */
    if (dlopen(argv[i], RTLD_NOW | RTLD_NOLOAD) != NULL) {
      fprintf(stderr, "%s: still loaded\n", argv[i]);
      return 1;
    }
  }
  return argc > 1 ? 0 : 1;
}
