/* A program that refers to no symbol of its platform, which the linker must keep in any order. */
#include "mqc_fes_intf.h"

int main(void) {
  MQC_port_group req = {0};
  return (int)MqcFesIntf_qos_group_port(&req, 0);
}
