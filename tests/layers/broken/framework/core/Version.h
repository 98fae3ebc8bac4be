#define FWK_VERSION "0.0.0"
