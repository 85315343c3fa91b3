/* Loads the file named by the first argument, the library or one that needs it, unloads it, and does so again. With a
   second argument it calls the function of this name in between, which takes nothing and answers an int, and prints
   "answered NUMBER". Ends with 0 when the library was gone from memory after each unloading. Prints what the library
   built and destroyed meanwhile, in that order: for each object with a destructor "built ADDRESS", then
   "destroyed ADDRESS", the address as in the library's symbol table; after each unloading "unloaded".

   How it knows: an object of static storage is built and then has its destructor registered with __cxa_atexit, under
   the handle of the library that it belongs to; unloading runs what was registered under that handle. This program
   exports a __cxa_atexit of its own, which stands before that of the C library for whatever is loaded later. It hands
   the C library a function of its own in place of the destructor, which runs the destructor and prints after it. So
   "destroyed" is printed for destructors only that were run to their end, while the library was unloaded. */

#define _GNU_SOURCE
#include <dlfcn.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#define LIBRARY "libqProdData3D.so"
#define CAPACITY 4096

typedef void (*Destructor)(void*);
typedef int (*Register)(Destructor, void*, void*);
typedef int (*Function)(void);

struct Object {
  Destructor destructor;
  void* address;
  /* Where the library lies; null for objects of others. */
  const char* base;
};

static struct Object objects[CAPACITY];
static int count;
static int isUnloading;

static void Destroy(void* argument) {
  const struct Object* object = argument;
  object->destructor(object->address);
  if (object->base != NULL && isUnloading) {
    printf("destroyed %lx\n", (unsigned long)((const char*)object->address - object->base));
  }
}

int __cxa_atexit(Destructor destructor, void* address, void* handle) {
  Register next;
  Dl_info info;
  struct Object* object = &objects[count];
  *(void**)&next = dlsym(RTLD_NEXT, "__cxa_atexit");
  if (next == NULL || count == CAPACITY) {
    fprintf(stderr, "no place for a destructor\n");
    abort();
  }
  ++count;
  object->destructor = destructor;
  object->address = address;
  object->base = NULL;
  if (handle != NULL && dladdr(handle, &info) != 0 && strstr(info.dli_fname, LIBRARY) != NULL) {
    object->base = (const char*)info.dli_fbase;
    printf("built %lx\n", (unsigned long)((const char*)address - object->base));
  }
  return next(Destroy, object, handle);
}

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

static int Call(void* file, const char* name) {
  Function function;
  *(void**)&function = dlsym(file, name);
  if (function == NULL) {
    fprintf(stderr, "%s\n", dlerror());
    return 0;
  }
  printf("answered %d\n", function());
  return 1;
}

int main(int argc, char** argv) {
  int round;
  if (argc != 2 && argc != 3) {
    return 2;
  }
  for (round = 0; round < 2; ++round) {
    void* file = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
    int result;
    if (file == NULL) {
      fprintf(stderr, "%s\n", dlerror());
      return 3;
    }
    if (IsMapped(LIBRARY) != 1) {
      return 4;
    }
    if (argc == 3 && !Call(file, argv[2])) {
      return 7;
    }
    isUnloading = 1;
    result = dlclose(file);
    isUnloading = 0;
    if (result != 0) {
      return 5;
    }
    if (IsMapped(LIBRARY) != 0) {
      fprintf(stderr, "the library is still in memory\n");
      return 6;
    }
    printf("unloaded\n");
  }
  return 0;
}
