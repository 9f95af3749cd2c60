#ifndef QUORVA_EXPORT_H
#define QUORVA_EXPORT_H

/** Marks what the shared library exports; everything else is hidden. */
#define QUORVA_EXPORT [[gnu::visibility("default")]]

/** For members of exported classes that programs must not use. */
#define QUORVA_INTERNAL [[gnu::visibility("hidden")]]

#endif
