/*
 * Whole requests, from the frame to the bytes of the reply, against real environments. The input chooses the operations
 * and their bodies, well-formed and not. Whatever is sent, the reply is JSON with an envelope, what was stored can be
 * read back, and the environments stay usable.
 */
#include "budget.h"
#include "choices.h"
#include "environments.h"
#include "requestgenerator.h"

#include <QString>

#include <cstddef>
#include <cstdint>
#include <set>
#include <utility>

namespace {

void check(const std::uint8_t* data, std::size_t size)
{
    static std::set<std::pair<QString, QString>> written;
    environments().reset(written);
    Choices choices(data, size);
    RequestGenerator generator(&choices);
    for (int requests = 0; requests < 20 && !choices.isEmpty(); ++requests)
        generator.send();
    written = generator.keys();
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    onceWithinBudgetOfFiles([&] { check(data, size); });
    return 0;
}
