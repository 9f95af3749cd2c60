#ifndef QUORVA_JSON_JSONADAPTER_H
#define QUORVA_JSON_JSONADAPTER_H

/**
 * JSON text to variant trees and back. Only this folder knows which JSON library is used.
 */
#include "json/jsonreader.h" // IWYU pragma: export
#include "json/jsonwriter.h" // IWYU pragma: export

#endif
