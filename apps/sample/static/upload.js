'use strict';
{
  const form = document.getElementById('upload');
  const transfer = document.getElementById('transfer');
  const message = document.getElementById('message');
  const bar = transfer.querySelector('progress');
  const mebibytes = bytes => (bytes / 1048576).toFixed(1);

  const finish = text => {
    transfer.hidden = true;
    form.hidden = false;
    message.textContent = text;
  };

  form.addEventListener('submit', event => {
    event.preventDefault();
    const request = new XMLHttpRequest();
    request.responseType = 'document';
    request.upload.onprogress = ({ loaded, total }) => {
      bar.value = loaded / total;
      message.textContent =
        `${Math.floor(100 * loaded / total)} %: ${mebibytes(loaded)} of ${mebibytes(total)} MiB`;
    };
    request.onload = () => {
      if (request.status < 400) location.replace('/files');
      else finish(request.response?.querySelector('main p')?.textContent ?? 'The server refused the files.');
    };
    request.onerror = () => finish('The connection broke. Nothing was kept.');
    request.onabort = () => finish('Cancelled. Nothing was kept.');
    transfer.querySelector('button').onclick = () => request.abort();
    request.open('POST', form.action);
    request.send(new FormData(form));
    bar.value = 0;
    form.hidden = true;
    transfer.hidden = false;
  });
}
