#ifndef QUORVA_STORAGE_DESCRIPTORRESERVE_H
#define QUORVA_STORAGE_DESCRIPTORRESERVE_H

/**
 * Checks, before Berkeley DB opens files, that enough descriptors are left: an environment that hits the limit while
 * opening a database panics and is unusable until the next recovery. A database is opened only when at least 16 are
 * free; an environment only when there is one more for every database file that its recovery may open, as an attempt
 * that fails there takes minutes. Connections cannot use them up, as they are kept out of the last 64 (see includes()).
 *
 * Lives on the stack around one open; until destroyed, its share counts as taken for other threads.
 */
class DescriptorReserve {
public:
    /** `needed` is the number of descriptors that the open itself will use, beyond the 16. */
    explicit DescriptorReserve(int needed = 0);
    ~DescriptorReserve();
    DescriptorReserve(const DescriptorReserve&) = delete;
    DescriptorReserve& operator=(const DescriptorReserve&) = delete;

    /**
     * True for one of the last 64 descriptors below the process's limit: a connection with such a descriptor must be
     * closed.
     */
    static bool includes(int descriptor);

    bool available() const { return available_; }

private:
    const int share_;
    const bool available_;
};

#endif
