/* To be loaded before a program: an allocator that fails at call number ORV_FAIL, or from there on where a + follows the
 * number. It then writes a byte to descriptor 9, so that who counts knows that there were so many calls. And after
 * ORV_THREADS threads, if that is set, no more can be started. */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <pthread.h>
#include <stddef.h>
#include <stdlib.h>
#include <unistd.h>

void* __libc_malloc(size_t size);
void* __libc_calloc(size_t count, size_t size);
void* __libc_realloc(void* memory, size_t size);
void* __libc_memalign(size_t align, size_t size);

static int fails(void) {
  static unsigned long calls, first;
  static int others;
  if (calls++ == 0) {
    char* end;
    const char* const given = getenv("ORV_FAIL");
    first = given ? strtoul(given, &end, 10) : 0;
    others = given && *end == '+';
  }
  if (first == 0 || calls < first || (calls > first && !others)) return 0;
  if (calls == first && write(9, "x", 1) != 1) _exit(98);
  errno = ENOMEM;
  return 1;
}

void* malloc(size_t size) { return fails() ? NULL : __libc_malloc(size); }
void* calloc(size_t count, size_t size) { return fails() ? NULL : __libc_calloc(count, size); }
void* realloc(void* memory, size_t size) { return fails() ? NULL : __libc_realloc(memory, size); }
void* memalign(size_t align, size_t size) { return fails() ? NULL : __libc_memalign(align, size); }
void* aligned_alloc(size_t align, size_t size) { return memalign(align, size); }
int posix_memalign(void** memory, size_t align, size_t size) {
  void* const p = memalign(align, size);
  if (p) *memory = p;
  return p ? 0 : ENOMEM;
}

int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*run)(void*), void* argument) {
  static int started;
  const char* const most = getenv("ORV_THREADS");
  if (most && started++ >= atoi(most)) return EAGAIN;
  int (*const create)(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*) = dlsym(RTLD_NEXT, __func__);
  return create(thread, attributes, run, argument);
}
