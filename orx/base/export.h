// Marks what liblxcvlib exports; everything else has hidden visibility.
#pragma once

#define ORX_EXPORT __attribute__((visibility("default")))
