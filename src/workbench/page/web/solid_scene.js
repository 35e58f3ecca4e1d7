// SPDX-License-Identifier: GPL-3.0-or-later
// Draws faces, points and lines with WebGL.

/**
 * @typedef {'cells' | 'ground' | 'stations' | 'lines'} PartName
 *
 * @typedef {object} Part  what is drawn in one go
 * @property {WebGLVertexArrayObject} array
 * @property {WebGLBuffer} places
 * @property {WebGLBuffer} colours
 * @property {number} vertices
 *
 * @typedef {object} Scene
 * @property {WebGL2RenderingContext} gl
 * @property {Record<string, WebGLUniformLocation | null>} settings
 * @property {Record<PartName, Part>} parts
 * @property {WebGLBuffer} corners  numbers of the corners of two triangles per face
 * @property {number} faces  for which there are such numbers
 */

const PLAIN = 0;
const EDGED = 1;
const ROUND = 2;

const VERTEX = `#version 300 es
uniform mat4 matrix;
uniform float pointSize;
layout(location = 0) in vec3 place;
layout(location = 1) in vec4 colour;
out vec4 paint;
out vec2 corner;
void main() {
  gl_Position = matrix * vec4(place, 1.0);
  gl_PointSize = pointSize;
  paint = colour;
  int number = gl_VertexID & 3;  // of the corner around its face
  corner = vec2(number == 1 || number == 2, number >= 2);
}`;

// Edges of cells are darker, unless cells are only a few pixels wide. Stations are round.
const FRAGMENT = `#version 300 es
precision highp float;
uniform int style;
in vec4 paint;
in vec2 corner;
out vec4 result;
void main() {
  result = paint;
  if (style == ${EDGED}) {
    vec2 pixel = fwidth(corner);
    vec2 pixels = min(corner, 1.0 - corner) / pixel;
    float edge = 1.0 - smoothstep(0.4, 1.4, min(pixels.x, pixels.y));
    result.rgb *= 1.0 - 0.45 * edge * smoothstep(0.3, 0.1, max(pixel.x, pixel.y));
  } else if (style == ${ROUND} && length(gl_PointCoord - 0.5) > 0.5) {
    discard;
  }
}`;

function compile(gl) {
  const program = gl.createProgram();
  for (const [kind, source] of [[gl.VERTEX_SHADER, VERTEX], [gl.FRAGMENT_SHADER, FRAGMENT]]) {
    const shader = gl.createShader(kind);
    gl.shaderSource(shader, source);
    gl.compileShader(shader);
    gl.attachShader(program, shader);
  }
  gl.linkProgram(program);
  if (!gl.getProgramParameter(program, gl.LINK_STATUS)) throw new Error('WebGL links no program.');
  return program;
}

/**
 * @param {WebGL2RenderingContext} gl
 * @param {WebGLBuffer} corners
 * @returns {Part}
 */
function newPart(gl, corners) {
  const part = {
    array: gl.createVertexArray(),
    places: gl.createBuffer(),
    colours: gl.createBuffer(),
    vertices: 0,
  };
  gl.bindVertexArray(part.array);
  gl.bindBuffer(gl.ELEMENT_ARRAY_BUFFER, corners);
  gl.enableVertexAttribArray(0);
  gl.enableVertexAttribArray(1);
  gl.bindBuffer(gl.ARRAY_BUFFER, part.places);
  gl.vertexAttribPointer(0, 3, gl.FLOAT, false, 0, 0);
  gl.bindBuffer(gl.ARRAY_BUFFER, part.colours);
  gl.vertexAttribPointer(1, 4, gl.UNSIGNED_BYTE, true, 0, 0);
  return /** @type {Part} */ (part);
}

/**
 * An empty scene; null when the browser has no WebGL 2.
 * @param {HTMLCanvasElement} canvas
 * @returns {Scene | null}
 */
export function newScene(canvas) {
  const gl = canvas.getContext('webgl2', {alpha: false});
  if (!gl) return null;
  const program = compile(gl);
  gl.useProgram(program);
  gl.enable(gl.DEPTH_TEST);
  gl.blendFunc(gl.SRC_ALPHA, gl.ONE_MINUS_SRC_ALPHA);
  gl.clearColor(1, 1, 1, 1);
  const corners = /** @type {WebGLBuffer} */ (gl.createBuffer());
  const setting = (name) => [name, gl.getUniformLocation(program, name)];
  return {
    gl,
    settings: Object.fromEntries(['matrix', 'pointSize', 'style'].map(setting)),
    parts: {
      cells: newPart(gl, corners),
      ground: newPart(gl, corners),
      stations: newPart(gl, corners),
      lines: newPart(gl, corners),
    },
    corners,
    faces: 0,
  };
}

function numberCorners(scene, faces) {
  const {gl} = scene;
  const numbers = new Uint32Array(6 * faces);
  for (let face = 0; face < faces; ++face) {
    [0, 1, 2, 0, 2, 3].forEach((corner, i) => {
      numbers[6 * face + i] = 4 * face + corner;
    });
  }
  gl.bindVertexArray(null);
  gl.bindBuffer(gl.ELEMENT_ARRAY_BUFFER, scene.corners);
  gl.bufferData(gl.ELEMENT_ARRAY_BUFFER, numbers, gl.STATIC_DRAW);
  scene.faces = faces;
}

/**
 * Replaces a part of the scene; cells and ground are faces of four vertices.
 * @param {Scene} scene
 * @param {PartName} name
 * @param {Float32Array} places  three numbers per vertex
 * @param {Uint32Array} colours  one per vertex: red in the lowest byte, green, blue, opacity
 */
export function setPart(scene, name, places, colours) {
  const {gl} = scene;
  const part = scene.parts[name];
  part.vertices = colours.length;
  gl.bindBuffer(gl.ARRAY_BUFFER, part.places);
  gl.bufferData(gl.ARRAY_BUFFER, places, gl.DYNAMIC_DRAW);
  gl.bindBuffer(gl.ARRAY_BUFFER, part.colours);
  gl.bufferData(gl.ARRAY_BUFFER, colours, gl.DYNAMIC_DRAW);
  const faces = name === 'cells' || name === 'ground' ? colours.length / 4 : 0;
  if (faces > scene.faces) numberCorners(scene, faces);
}

/**
 * @param {Scene} scene
 * @param {PartName} name
 * @param {number} style
 */
function drawPart(scene, name, style) {
  const {gl, settings, parts} = scene;
  const {array, vertices} = parts[name];
  gl.bindVertexArray(array);
  gl.uniform1i(settings.style, style);
  if (name === 'stations') {
    gl.drawArrays(gl.POINTS, 0, vertices);
  } else if (name === 'lines') {
    gl.drawArrays(gl.LINES, 0, vertices);
  } else {
    gl.drawElements(gl.TRIANGLES, 6 * vertices / 4, gl.UNSIGNED_INT, 0);
  }
}

/**
 * @param {Scene} scene
 * @param {Float32Array} matrix  of the projection
 * @param {{ground: boolean, stations: boolean}} shown
 */
export function drawScene(scene, matrix, shown) {
  const {gl, settings} = scene;
  gl.viewport(0, 0, gl.drawingBufferWidth, gl.drawingBufferHeight);
  gl.clear(gl.COLOR_BUFFER_BIT | gl.DEPTH_BUFFER_BIT);
  gl.uniformMatrix4fv(settings.matrix, false, matrix);
  gl.uniform1f(settings.pointSize, 3.5 * devicePixelRatio);
  gl.depthFunc(gl.LESS);
  drawPart(scene, 'cells', EDGED);
  drawPart(scene, 'lines', PLAIN);
  if (shown.stations) drawPart(scene, 'stations', ROUND);
  if (!shown.ground) return;
  // First how near the ground is, then its colour where it is nearest: one layer of it, not
  // several.
  gl.colorMask(false, false, false, false);
  drawPart(scene, 'ground', PLAIN);
  gl.colorMask(true, true, true, true);
  gl.depthFunc(gl.LEQUAL);
  gl.enable(gl.BLEND);
  drawPart(scene, 'ground', PLAIN);
  gl.disable(gl.BLEND);
}
