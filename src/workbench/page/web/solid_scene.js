// SPDX-License-Identifier: GPL-3.0-or-later
// Draws faces, lines and points with WebGL. All are parallelograms of nine numbers: a place and the
// two edges from there; a line has no second edge, a point none. Each corner is a vertex: instanced
// drawing would need less memory, but is slow where the processor draws for want of a graphics
// card.

/**
 * @typedef {'cells' | 'ground' | 'stations' | 'lines'} PartName
 *
 * @typedef {object} Part  what is drawn in one go
 * @property {WebGLVertexArrayObject} array
 * @property {WebGLBuffer} places
 * @property {WebGLBuffer} colours
 * @property {number} count  of its shapes
 *
 * @typedef {object} Scene
 * @property {WebGL2RenderingContext} gl
 * @property {Record<string, WebGLUniformLocation | null>} settings
 * @property {Record<PartName, Part>} parts
 * @property {WebGLBuffer} triangles  the vertices of two triangles per face
 * @property {number} faces  for which these are there
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
  corner = vec2(gl_VertexID & 1, (gl_VertexID >> 1) & 1);
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
    result.rgb *= 1.0 - 0.35 * edge * smoothstep(0.3, 0.1, max(pixel.x, pixel.y));
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
 * @param {WebGLBuffer} triangles
 * @returns {Part}
 */
function newPart(gl, triangles) {
  const part = {
    array: gl.createVertexArray(),
    places: gl.createBuffer(),
    colours: gl.createBuffer(),
    count: 0,
  };
  gl.bindVertexArray(part.array);
  gl.bindBuffer(gl.ELEMENT_ARRAY_BUFFER, triangles);
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
  const triangles = /** @type {WebGLBuffer} */ (gl.createBuffer());
  const setting = (name) => [name, gl.getUniformLocation(program, name)];
  return {
    gl,
    settings: Object.fromEntries(['matrix', 'pointSize', 'style'].map(setting)),
    parts: {
      cells: newPart(gl, triangles),
      ground: newPart(gl, triangles),
      stations: newPart(gl, triangles),
      lines: newPart(gl, triangles),
    },
    triangles,
    faces: 0,
  };
}

// The triangles of so many faces, which all parts share.
function setTriangles(scene, faces) {
  const {gl} = scene;
  const vertices = new Uint32Array(6 * faces);
  for (let face = 0; face < faces; ++face) {
    const first = 4 * face;
    vertices.set([first, first + 1, first + 3, first, first + 3, first + 2], 6 * face);
  }
  gl.bindVertexArray(null);
  gl.bindBuffer(gl.ELEMENT_ARRAY_BUFFER, scene.triangles);
  gl.bufferData(gl.ELEMENT_ARRAY_BUFFER, vertices, gl.STATIC_DRAW);
  scene.faces = faces;
}

const CORNERS = {
  cells: 4,
  ground: 4,
  stations: 1,
  lines: 2
};

/**
 * Replaces a part of the scene.
 * @param {Scene} scene
 * @param {PartName} name
 * @param {Float32Array} shapes  nine numbers each
 * @param {Uint32Array} colours  one each: red in the lowest byte, green, blue, opacity
 */
export function setPart(scene, name, shapes, colours) {
  const {gl} = scene;
  const part = scene.parts[name];
  const corners = CORNERS[name];
  part.count = colours.length;
  const places = new Float32Array(3 * corners * part.count);
  const paint = new Uint32Array(corners * part.count);
  for (let vertex = 0; vertex < paint.length; ++vertex) {
    const corner = vertex % corners;
    const shape = (vertex - corner) / corners;
    paint[vertex] = colours[shape];
    for (let axis = 0; axis < 3; ++axis) {
      const at = 9 * shape + axis;
      const [first, second] = [corner & 1 ? shapes[at + 3] : 0, corner & 2 ? shapes[at + 6] : 0];
      places[3 * vertex + axis] = shapes[at] + first + second;
    }
  }
  gl.bindBuffer(gl.ARRAY_BUFFER, part.places);
  gl.bufferData(gl.ARRAY_BUFFER, places, gl.DYNAMIC_DRAW);
  gl.bindBuffer(gl.ARRAY_BUFFER, part.colours);
  gl.bufferData(gl.ARRAY_BUFFER, paint, gl.DYNAMIC_DRAW);
  if (corners === 4 && part.count > scene.faces) setTriangles(scene, part.count);
}

/**
 * @param {Scene} scene
 * @param {PartName} name
 * @param {number} style
 */
function drawPart({gl, settings, parts}, name, style) {
  gl.bindVertexArray(parts[name].array);
  gl.uniform1i(settings.style, style);
  const {count} = parts[name];
  if (CORNERS[name] === 4) {
    gl.drawElements(gl.TRIANGLES, 6 * count, gl.UNSIGNED_INT, 0);
  } else {
    gl.drawArrays(name === 'lines' ? gl.LINES : gl.POINTS, 0, CORNERS[name] * count);
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
  gl.uniform1f(settings.pointSize, Math.min(3.5 * devicePixelRatio, gl.drawingBufferWidth / 300));
  gl.depthFunc(gl.LESS);
  gl.enable(gl.CULL_FACE);  // the far sides of cells are hidden by the near ones
  drawPart(scene, 'cells', EDGED);
  gl.disable(gl.CULL_FACE);
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
