<!-- page.js -->
