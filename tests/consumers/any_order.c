/* A program that names nothing of its platform: the linker must keep it wherever it stands. */
#include "mqc_fes_intf.h"

int main(void) {
  MQC_port_group req = {0};
  return (int)MqcFesIntf_qos_group_port(&req, 0);
}
