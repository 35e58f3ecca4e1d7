// SPDX-License-Identifier: GPL-3.0-or-later
// Names that exist in the browser without an import, and that the compiler does not know.
declare const Plotly: any;
declare class DecompressionStream {
  constructor(format: 'deflate');
  readonly readable: ReadableStream<Uint8Array>;
  readonly writable: WritableStream<Uint8Array>;
}
