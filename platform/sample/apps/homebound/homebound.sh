#!/bin/sh
# Stands for the program "归帆校对" of the sample catalogue.
echo "归帆校对 1.4.2"
