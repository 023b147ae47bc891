#pragma once

#include <cstdlib>
#include <memory>

// Replies and events of xcb belong to the caller, who frees them with free().
struct XReplyFree
{
    void operator()(void *memory) const { std::free(memory); }
};
template <class T>
using XReply = std::unique_ptr<T, XReplyFree>;
