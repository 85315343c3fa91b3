/* Loads the library named by the argument, unloads it, and does so again. Prints nothing and ends with 0 when the
   library was gone from memory after each unloading. */

#include <dlfcn.h>
#include <stdio.h>
#include <string.h>

static int IsMapped(const char* library) {
  FILE* maps = fopen("/proc/self/maps", "r");
  char line[4096];
  int found = 0;
  if (maps == NULL) {
    return -1;
  }
  while (fgets(line, sizeof(line), maps) != NULL) {
    if (strstr(line, library) != NULL) {
      found = 1;
    }
  }
  fclose(maps);
  return found;
}

int main(int argc, char** argv) {
  int round;
  if (argc != 2) {
    return 2;
  }
  for (round = 0; round < 2; ++round) {
    void* library = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
    if (library == NULL) {
      fprintf(stderr, "%s\n", dlerror());
      return 3;
    }
    if (IsMapped("libqProdData3D.so") != 1) {
      return 4;
    }
    if (dlclose(library) != 0) {
      return 5;
    }
    if (IsMapped("libqProdData3D.so") != 0) {
      fprintf(stderr, "the library is still in memory\n");
      return 6;
    }
  }
  return 0;
}
