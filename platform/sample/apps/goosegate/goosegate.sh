#!/bin/sh
# Stands for the program "雁门文档" of the sample catalogue.
echo "雁门文档 10.0.0"
