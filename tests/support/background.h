#ifndef QUORVA_TESTS_SUPPORT_BACKGROUND_H
#define QUORVA_TESTS_SUPPORT_BACKGROUND_H

#include <functional>
#include <future>
#include <type_traits>
#include <utility>

/** Runs a call on a thread of its own. */
template <typename Result> std::future<Result> inBackground(std::function<Result()> call)
{
    return std::async(std::launch::async, std::move(call));
}

/** Likewise: what is behind std::async is compiled for each type of result, and not for each call. */
template <typename Call> auto inBackground(Call call)
{
    return inBackground(std::function<std::invoke_result_t<Call>()>(std::move(call)));
}

#endif
