#include "consumer.inc"
