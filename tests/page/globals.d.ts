// SPDX-License-Identifier: GPL-3.0-or-later
// Names of Node.js, and of the browser that runs parts of the test.
declare module 'node:*';
declare const process: any;
declare const document: any;
declare const window: any;
declare const PointerEvent: any;
declare const URL: any;
interface ImportMeta {
  url: string;
}
