// TARVEX_EXPORT marks what the shared library shows; everything else is hidden.
#pragma once

#define TARVEX_EXPORT __attribute__((visibility("default")))
