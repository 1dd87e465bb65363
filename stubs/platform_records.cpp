// Size of every record that the platform sees, and offset and width of every member, as platforms
// were built with them. The library compiles only while the header keeps to them, whatever it is
// built for.

#include <cstddef>

#include "mqc_fes_intf.h"

#define SIZE(Record, size) \
  static_assert(sizeof(Record) == (size), #Record " is not " #size " bytes long");
#define AT(Record, member, offset, width)                                                  \
  static_assert(offsetof(Record, member) == (offset) && sizeof(Record::member) == (width), \
                #Record "." #member " is not at offset " #offset " with width " #width);

SIZE(PackBuf, 16)
AT(PackBuf, buf, 0, 8)
AT(PackBuf, pLen, 8, 8)

SIZE(IdlMsgDesc, 48)
AT(IdlMsgDesc, slot0, 0, 8)
AT(IdlMsgDesc, pack, 8, 8)
AT(IdlMsgDesc, slot2, 16, 8)
AT(IdlMsgDesc, slot3, 24, 8)
AT(IdlMsgDesc, packFull, 32, 8)
AT(IdlMsgDesc, fullSize, 40, 8)

SIZE(MethodId, 16)
AT(MethodId, interfaceName, 0, 8)
AT(MethodId, methodName, 8, 8)

SIZE(AsyncCallCtx, 24)
AT(AsyncCallCtx, reqSize, 0, 8)
AT(AsyncCallCtx, cb, 8, 8)
AT(AsyncCallCtx, userData, 16, 8)

SIZE(RpcServerAddr, 104)
AT(RpcServerAddr, runtime, 0, 96)
AT(RpcServerAddr, interfaceName, 96, 8)

SIZE(LogModule, 24)
AT(LogModule, module, 0, 8)
AT(LogModule, subModule, 8, 8)
AT(LogModule, number, 16, 4)

#undef SIZE
#undef AT
