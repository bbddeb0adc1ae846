#!/usr/bin/env bash
# Makes assets/sample.h264 anew: ten seconds of a moving test picture. Needs ffmpeg with libx264.
# One thread, so that the same versions make the same bytes.
set -euo pipefail

ffmpeg -hide_banner -loglevel error -y \
    -f lavfi -i "testsrc2=size=384x216:rate=25:duration=10" \
    -f lavfi -i "mandelbrot=size=96x96:rate=25:end_scale=0.003" \
    -filter_complex "[0][1]overlay=x=W-w-8:y=H-h-8:shortest=1,format=yuv420p" \
    -c:v libx264 -preset slow -b:v 200k -maxrate 300k -bufsize 300k -threads 1 \
    -x264-params "keyint=50:min-keyint=50:scenecut=0:slices=2:bframes=2:aud=1" \
    -bitexact -f h264 "$(dirname "$0")/../assets/sample.h264"
