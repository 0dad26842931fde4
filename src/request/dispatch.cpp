#include "request/dispatch.h"

#include "request/requests.h"

namespace pemo {
namespace {

struct RequestRoute {
  std::uint8_t request_type;
  std::uint8_t reply_type;
  int (*handler)(std::span<char, kMaxPayload>, int);
};

constexpr RequestRoute kRoutes[] = {
    {kTypeParamGet, kTypeParamGetReply, doParaGetReq},
    {kTypeParamSet, kTypeParamSetReply, doParaSetReq},
    {kTypeSysQuery, kTypeSysQueryReply, doSysQueryReq},
};

}  // namespace

int request_dispatch(const FrameHeader& request, FrameHeader& reply,
                     std::span<char, kMaxPayload> payload, int length) {
  for (const RequestRoute& route : kRoutes) {
    if (route.request_type == request.type) {
      reply.type = route.reply_type;
      return route.handler(payload, length);
    }
  }
  return kUnserved;
}

}  // namespace pemo
