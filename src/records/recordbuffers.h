#ifndef QUORVA_RECORDS_RECORDBUFFERS_H
#define QUORVA_RECORDS_RECORDBUFFERS_H

#include "protocol/limits.h"

#include <db_cxx.h>

#include <QByteArray>

#include <cstdlib>
#include <memory>

/**
 * The key and data memory of reads: owned by us, filled by Berkeley DB. A typical record costs no allocation; a larger
 * one grows the buffer once, to the largest size that can be read. Never logs, as operations report a failed allocation
 * differently.
 */
class RecordBuffers {
public:
    enum : u_int32_t {
        SmallBytes = 4096,
        LargeBytes = Limits::ItemBytes // the longest stored value that can be read
    };

    /** Provides the key buffer: the key, room for four more bytes, at least SmallBytes. */
    explicit RecordBuffers(const QByteArray& key);

    /** Provides the data buffer. False if it cannot be allocated. */
    [[nodiscard]] bool allocateData(u_int32_t bytes);

    RecordBuffers(const RecordBuffers&) = delete;
    RecordBuffers& operator=(const RecordBuffers&) = delete;

    /** False once an allocation has failed, including growth of the data buffer. */
    bool valid() const { return valid_; }

    Dbt* key() { return &key_; }
    Dbt* data() { return &data_; }

    /** Bytes of the key buffer. */
    u_int32_t keyCapacity() const { return key_.get_ulen(); }

    /** The data of the last read; valid until the next read. Not a copy. */
    QByteArray dataBytes() const;

    /**
     * Runs `read` and, when the record does not fit and the data buffer is below LargeBytes, once more with a buffer of
     * that size and the original key. If an allocation fails, valid() is false and the result DB_BUFFER_SMALL.
     */
    template <typename Read> [[nodiscard]] int readGrowing(Read&& read)
    {
        int rc = read();
        if (rc == DB_BUFFER_SMALL && data_.get_ulen() < LargeBytes && grow())
            rc = read();
        return rc;
    }

private:
    /** The memory of one buffer: its own, which is usually on the stack, or an allocated block if needed. */
    // cppcheck-suppress noConstructor ; the memory stays uninitialized: only what was written is read
    class Memory {
    public:
        /** Replaces the memory. Null when it cannot be allocated. */
        char* provide(u_int32_t bytes)
        {
            block_.reset(); // first, so that two blocks never coexist
            if (bytes <= SmallBytes)
                return own_;
            block_.reset(static_cast<char*>(std::malloc(bytes)));
            return block_.get();
        }

    private:
        struct Free {
            void operator()(void* memory) const { std::free(memory); }
        };

        char own_[SmallBytes];
        std::unique_ptr<char, Free> block_;
    };

    bool grow();
    void fillKey();

    const QByteArray keyBytes_;
    Memory keyMemory_;
    Memory dataMemory_;
    Dbt key_;
    Dbt data_;
    bool valid_ = true;
};

#endif
