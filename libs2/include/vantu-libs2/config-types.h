// The settings of the daemon that stands on this layer. No operation of the layer reads or fills them; the operations
// table hands them through.
#ifndef VANTU_LIBS2_CONFIG_TYPES_H
#define VANTU_LIBS2_CONFIG_TYPES_H

#ifdef __cplusplus
extern "C" {
#endif

#define VANTU_CONFIG_PATH_MAX      256
#define VANTU_CONFIG_URL_MAX       256
#define VANTU_CONFIG_NAME_MAX      64
#define VANTU_CONFIG_PROTOCOLS_MAX 32

// Where the model that classifies traffic comes from.
typedef struct vantu_onnx_config {
    int enabled; // flags: 0 or 1
    int download_enabled;
    char model_path[VANTU_CONFIG_PATH_MAX]; // of the model in use
    char download_url[VANTU_CONFIG_URL_MAX];
    char download_path[VANTU_CONFIG_PATH_MAX]; // where a new one is put
    int download_interval;                     // seconds
} vantu_onnx_config;

// Sampling, probing and uploading.
typedef struct vantu_uci_kiv_config {
    int enabled;
    int sampling_interval; // milliseconds
    int ping_enabled;
    int ping_interval; // milliseconds
    int probe_enabled;
    int probe_interval; // seconds
    int upload_enabled;
    int upload_interval; // seconds
    char upload_url[VANTU_CONFIG_URL_MAX];
    char samples_path[VANTU_CONFIG_PATH_MAX];
} vantu_uci_kiv_config;

typedef struct vantu_configuration {
    int enabled;
    int qos_enabled;
    int log_level_console; // LOG_C_TRACE to LOG_C_FATAL, for each sink
    int log_level_file;
    int log_level_syslog;
    char log_path[VANTU_CONFIG_PATH_MAX];
    char heartbeat_path[VANTU_CONFIG_PATH_MAX];
    vantu_uci_kiv_config kiv;
    vantu_onnx_config onnx;
    int protocol_count; // of the protocols that are watched
    char protocols[VANTU_CONFIG_PROTOCOLS_MAX][VANTU_CONFIG_NAME_MAX];
} vantu_configuration;

#ifdef __cplusplus
}
#endif

#endif
