#include "unit/config/config_fixture.h"

namespace passbridge::test {

ConfigTest::ConfigTest() { pdu::ResolvePduObjectIds(); }

}  // namespace passbridge::test
