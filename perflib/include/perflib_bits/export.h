// SPDX-License-Identifier: Apache-2.0
// Symbol visibility for the perflib shared library.
#ifndef PERFLIB_BITS_EXPORT_H
#define PERFLIB_BITS_EXPORT_H

#define PERFLIB_EXPORT __attribute__((visibility("default")))

#endif
