/* The numeric error codes of libvexozeph. The values are part of the interface. */
#ifndef VEXOZEPH_ERROR_CODES_H_
#define VEXOZEPH_ERROR_CODES_H_

enum VEXOZEPH_ERROR_CODE {
  VEXOZEPH_ERR_SUCCESS = 0,
  VEXOZEPH_ERR_BAD_PARAMETER = 1,      /* also the server word "badparam" */
  VEXOZEPH_ERR_BAD_JSON = 2,           /* a reply is not the expected JSON */
  VEXOZEPH_ERR_NO_ACCOUNT = 3,         /* no stored account */
  VEXOZEPH_ERR_SEND = 4,               /* the request could not be sent */
  VEXOZEPH_ERR_NO_REPLY = 5,           /* no usable reply */
  VEXOZEPH_ERR_SYSTEM = 6,             /* system failure; server word "badsys" */
  VEXOZEPH_ERR_PAYMENT_CONFIG = 7,     /* payment service address unavailable */
  VEXOZEPH_ERR_SERIAL = 8,             /* serial number unreadable */
  VEXOZEPH_ERR_AUTH = 14,              /* server word "badauth" */
  VEXOZEPH_ERR_NETWORK = 15,           /* "badnetwork" or a cloud-service network error */
  VEXOZEPH_ERR_ACCOUNT_IN_USE = 16,    /* "account_inused" */
  VEXOZEPH_ERR_SERIAL_MAX_ACCOUNTS = 17, /* "serial_exceed_max_account_register" */
  VEXOZEPH_ERR_ACCOUNT_UNVERIFIED = 18,  /* "account_unverified" */
  VEXOZEPH_ERR_ACCOUNT_WRITE = 19,     /* the account file could not be written */
  VEXOZEPH_ERR_MAC = 20,               /* MAC address unreadable */
  VEXOZEPH_ERR_TOKEN_STATE = 22,       /* token file, lock or token answer failure */
  VEXOZEPH_ERR_SERVER_CONFIG = 23,     /* server configuration unreadable */
  VEXOZEPH_ERR_UNKNOWN = 24,           /* unrecognised word, other cloud-service failure */
  VEXOZEPH_ERR_ACCOUNT_NOT_FOUND = 25, /* "account_not_found" */
  VEXOZEPH_ERR_APIKEY_NOT_FOUND = 26,  /* "apikey_not_found" */
  VEXOZEPH_ERR_APIKEY_EXPIRED = 27     /* "apikey_expired" */
};

#endif /* VEXOZEPH_ERROR_CODES_H_ */
