#pragma once

#include <cstdlib>
#include <memory>

// What xcb hands out (replies, events) belongs to the caller and goes by free().
struct XReplyFree
{
    void operator()(void *memory) const { std::free(memory); }
};
template <class T>
using XReply = std::unique_ptr<T, XReplyFree>;
