// SPDX-License-Identifier: Apache-2.0
// Preloaded into a program under test: pthread_create fails with EAGAIN, as where the system has
// no thread to spare, once REFUSE_THREADS_AFTER threads (0 when unset) have been created.
#define _GNU_SOURCE
#include <dlfcn.h>
#include <errno.h>
#include <pthread.h>
#include <stdlib.h>
#include <string.h>

typedef int create_function(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);

int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*start)(void*),
                   void* argument) {
  static long created;
  const char* after = getenv("REFUSE_THREADS_AFTER");
  if (__atomic_fetch_add(&created, 1, __ATOMIC_RELAXED) >= (after ? atol(after) : 0)) {
    return EAGAIN;
  }
  void* symbol = dlsym(RTLD_NEXT, "pthread_create");
  create_function* next;
  memcpy(&next, &symbol, sizeof next);  // ISO C has no cast from an object to a function pointer
  return next(thread, attributes, start, argument);
}
