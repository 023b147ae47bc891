#!/bin/sh
# Stands for the program "青石排版" of the sample catalogue.
echo "青石排版 3.1.0"
