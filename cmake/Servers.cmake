# Built-in server bases. Production defaults are the operator's placeholders; the test
# bases point at the cloud emulator's fixed loopback ports so that a device configured
# for the test servers talks to a locally running zeph-cloud with no further setting.
set(VEXOZEPH_PROD_ACCOUNT_HOST "https://account.vexozeph.example" CACHE STRING "Production account host")
set(VEXOZEPH_TEST_ACCOUNT_HOST "https://127.0.0.1:18443" CACHE STRING "Test account host")
set(VEXOZEPH_PROD_IDENTITY_HOST "https://identity.vexozeph.example" CACHE STRING "Production identity host")
set(VEXOZEPH_TEST_IDENTITY_HOST "https://127.0.0.1:18444" CACHE STRING "Test identity host")
set(VEXOZEPH_PROD_PAYMENT_HOST "https://payment.vexozeph.example" CACHE STRING "Production payment host")
set(VEXOZEPH_TEST_PAYMENT_HOST "https://127.0.0.1:18445" CACHE STRING "Test payment host")
set(VEXOZEPH_EMULATOR_ADMIN_PORT 18446 CACHE STRING "Default admin port of the cloud emulator")
