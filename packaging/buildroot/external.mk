include $(sort $(wildcard $(BR2_EXTERNAL_ROQUTIL_PATH)/package/*/*.mk))
