// Marks what libtarnforce.so exports. Everything that does not carry the mark is hidden.
#pragma once

#define TARN_API __attribute__((visibility("default")))
