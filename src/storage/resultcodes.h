#ifndef QUORVA_STORAGE_RESULTCODES_H
#define QUORVA_STORAGE_RESULTCODES_H

/** Results of the storage wrappers, besides Berkeley DB's own (negative codes and errno values). */
enum StorageResult : int {
    NoHandle = 12,  // there is no handle, or it could not be opened
    WrongState = 22 // the object is in the wrong state for the call
};

#endif
