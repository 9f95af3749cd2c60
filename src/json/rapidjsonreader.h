#ifndef QUORVA_JSON_RAPIDJSONREADER_H
#define QUORVA_JSON_RAPIDJSONREADER_H

/**
 * The JSON library's reader, with the same settings wherever it is used. In texts that it may change its vector paths
 * look at whole blocks of 16 bytes, beyond the end of the text: whoever has it read such a text has that much room.
 */

#undef RAPIDJSON_SSE42
#if defined(__SSE2__) && !defined(RAPIDJSON_SSE2)
#define RAPIDJSON_SSE2
#endif

#include <rapidjson/reader.h>

#endif
