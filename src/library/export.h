#ifndef QUORVA_EXPORT_H
#define QUORVA_EXPORT_H

/** Marks what the shared library shows to programs; everything else stays inside it. */
#define QUORVA_EXPORT [[gnu::visibility("default")]]

/** For members of such classes that programs have no use for. */
#define QUORVA_INTERNAL [[gnu::visibility("hidden")]]

#endif
