#!/bin/sh
# Stands for the program "岚川软件助手" of the sample catalogue.
echo "岚川软件助手 1.8.0"
