#ifndef QUORVA_STORAGE_FILESYNC_H
#define QUORVA_STORAGE_FILESYNC_H

#include "base/filesync.h" // IWYU pragma: export

#endif
