include $(sort $(wildcard $(BR2_EXTERNAL_PLATFORM_ADAPTATION_PATH)/*/*.mk))
