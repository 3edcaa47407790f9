// Marks what the shared library shows to its users. Everything else in it is
// compiled with hidden visibility; elsewhere the mark changes nothing.

#pragma once

#define WCSP_EXPORT __attribute__((visibility("default")))
