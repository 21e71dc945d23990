# NOT YET BUILT: no Docker engine was at hand. Remove this line when it has been.
#
# A machine to build and test on: docker build -t nuvolex . && docker run --rm -v "$PWD:/src" nuvolex tools/test
FROM debian:12
COPY tools/setup /setup/tools/setup
COPY tools/lib/common.sh /setup/tools/lib/common.sh
RUN /setup/tools/setup git ca-certificates && git config --system --add safe.directory /src
WORKDIR /src
